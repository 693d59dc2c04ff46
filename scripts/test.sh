#!/usr/bin/env bash
# Builds everything with the address, leak and undefined-behaviour sanitizers and runs every test.
# Arguments go to ctest, for instance: scripts/test.sh -R Update
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-packages.sh tests

cmake --preset asan >/dev/null
cmake --build --preset asan
ctest --preset asan -j "$(nproc)" "$@"
