#!/usr/bin/env bash
# check.sh gnu_parallel|slurm_array STRIDER: runs an example on this machine, and compares what it
# makes with what the program makes alone. Ends with 77 where the scheduler is not installed.
set -euo pipefail
here=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")" >/dev/null && pwd)
which=$1 strider=$2

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
PATH=$(dirname "$strider"):$PATH
mkdir "$work/takes"
cp "$here"/../takes/walk_*.bvh "$here"/../takes/jump_*.bvh "$work/takes"
cd "$work"

case $which in
  gnu_parallel)
    # Another program has the same name.
    if ! parallel --version 2>/dev/null | grep -q GNU; then
      echo "skipped: GNU parallel is not installed"
      exit 77
    fi
    "$here/gnu_parallel.sh" takes made 3
    ;;
  slurm_array)
    if ! command -v sbatch >/dev/null || ! sinfo --noheader >/dev/null 2>&1; then
      echo "skipped: Slurm is not installed, or not at work"
      exit 77
    fi
    sbatch --wait --array=1-3 --export=ALL "$here/slurm_array.sh" "$work/takes" "$work/made"
    ;;
esac
"$strider" batch takes -o alone --to sdr,glb >/dev/null
diff -r made alone && ls made
