#!/bin/sh
# Builds an older commit beside the present tree and prints the paired ratios new to old of the whole runs and of every
# benchmark that both have, on one thread and on all.
#
#     bench/compare.sh OLD_COMMIT [REPEATS]
#
# Old and new take turns, so that both meet the same neighbours on a machine that is shared.
set -eu
[ $# -ge 1 ] || { sed -n '2,7p' "$0" >&2; exit 1; }
cd "$(dirname "$0")/.."
old=$(git rev-parse --verify "$1^{commit}")
repeats=${2:-3}
source=build-compare/source
trap 'git worktree remove --force "$source" 2>/dev/null || true' EXIT
mkdir -p build-compare
[ -d "$source" ] || git worktree add --quiet --detach "$source" "$old"
for tree in "$source:build-compare/old" ".:build-compare/new"; do
  cmake -S "${tree%%:*}" -B "${tree#*:}" -DTESSARON_TESTS=OFF >/dev/null
  cmake --build "${tree#*:}" -j2 >/dev/null
done
python3 bench/runs.py --program build-compare/new/tessaron --old build-compare/old/tessaron --repeat "$repeats"
python3 bench/paired.py build-compare/old/bench build-compare/new/bench --repeat "$repeats"
