#!/bin/sh
# Builds Tessaron and passes its tests. Without an argument all of them:
#   release    the optimised program: unit tests and whole runs
#   sanitize   the same tests under the address and undefined-behaviour sanitizers, every table index checked
#   fuzz       whole runs on mutated decks (clang, libFuzzer); clang builds the program without warnings
#   mpi        the process group over Open MPI against one process
#   tools      the Python companions
#   examples   every example with few particles, its numbers against closed forms and independent calculations
# With arguments only the named ones, for example `./test.sh release tools`.
set -eu
cd "$(dirname "$0")"
. tools/packages.sh

need g++ clang libclang-rt-14-dev cmake make libgtest-dev libbenchmark-dev dpkg-dev file mkdocs openmpi-bin libopenmpi-dev chromium \
  python3 python3-pytest python3-numpy python3-matplotlib python3-h5py python3-tqdm python3-lark \
  python3-distributed python3-mpi4py python3-nbclient python3-ipykernel python3-scipy

build_and_test() {
  echo "== $1"
  cmake --preset "$1" >/dev/null
  cmake --build --preset "$1" -j2
  ctest --preset "$1" -j2
}

for part in ${*:-release mpi tools examples sanitize fuzz}; do
  case "$part" in
    release | debug | sanitize | mpi) build_and_test "$part" ;;
    fuzz)
      echo "== fuzz"
      cmake --preset fuzz >/dev/null
      cmake --build --preset fuzz -j2 --target tessaron_fuzz
      found=$(mktemp -d)
      build-fuzz/tessaron_fuzz -seed=1 -runs=3000 -timeout=60 -dict=tests/fuzz/words.dict "$found" tests/fuzz/corpus
      rm -r "$found"
      ;;
    tools)
      echo "== tools"
      "$(find_python)" -m pytest -q tools/tests
      ;;
    examples)
      echo "== examples"
      "$(find_python)" -m pytest -q examples
      ;;
    *)
      echo "unknown part: $part" >&2
      exit 1
      ;;
  esac
done
