#!/usr/bin/env bash
# Builds everything with the address, leak and undefined-behaviour sanitizers and runs every test.
# Arguments go to ctest, for instance: scripts/test.sh -R Update
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-packages.sh tests

cmake --preset asan >/dev/null
cmake --build --preset asan
# Some of the longest tests mostly wait, so more of them run than there are cores.
ctest --preset asan -j "$(($(nproc) + 2))" "$@"
