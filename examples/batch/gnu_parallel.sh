#!/usr/bin/env bash
# gnu_parallel.sh TAKES OUT [N]: imports the takes of a folder in N parts, as many at a time as the
# machine has cores. With `--sshlogin host1,host2 --workdir .` behind `parallel` they run on several
# machines that share the folders; the program has to be on their PATH.
set -euo pipefail
takes=$1 out=$2 parts=${3:-$(nproc)}

# A part is one process with one thread, and has an error log of its own in OUT. Started again, it
# skips what is done.
seq "$parts" | parallel --halt never \
  strider batch "$takes" -o "$out" --to sdr,glb -j 1 --shard {}/"$parts"
