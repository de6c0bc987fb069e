#!/bin/sh
# Builds Tessaron, sends a bunch of 20000 particles through a bunch compressor chicane and shows what came out.
# An argument is the number of particles.
set -eu
cd "$(dirname "$0")"
. tools/packages.sh

need g++ cmake make python3 python3-numpy python3-matplotlib python3-h5py
cmake -S . -B build -DTESSARON_TESTS=OFF -DTESSARON_BENCH=OFF >build.log 2>&1 && cmake --build build -j2 >>build.log 2>&1 || {
  tail -n 40 build.log >&2
  exit 1
}
rm -f build.log
python=$(find_python)
"$python" examples/bunch_compressor/run.py --program "$PWD/build/tessaron" --particles "${1:-20000}"
