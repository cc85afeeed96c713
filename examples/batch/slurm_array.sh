#!/usr/bin/env bash
#SBATCH --job-name=takes
#SBATCH --array=1-8
#SBATCH --cpus-per-task=2
#SBATCH --time=01:00:00
# sbatch slurm_array.sh TAKES OUT: imports the takes of a folder, each task of the array its share.
# Take `sbatch --array=1-N` for N tasks, which have to be numbered from 1. Folders and program are
# where all nodes find them. Tasks that failed, or that time ran out for, can be started again: what
# is done is skipped.
set -euo pipefail
takes=$1 out=$2

# Each task has an error log of its own in OUT, and fails where one of its takes did.
exec strider batch "$takes" -o "$out" --to sdr,glb -j "${SLURM_CPUS_PER_TASK:-1}" \
  --shard "$SLURM_ARRAY_TASK_ID/$SLURM_ARRAY_TASK_COUNT"
