#!/usr/bin/env bash
# Compares the executable with the model of its behaviour in COUNT generated scenarios.
#   scripts/model.sh COUNT [SEED]     without a seed: another one each time, which is printed
set -euo pipefail
cd "$(dirname "$0")/.."

count=${1:?usage: scripts/model.sh COUNT [SEED]}
seed=(${2:+--seed "$2"})

scripts/install-packages.sh tests
cmake --preset asan >/dev/null
cmake --build --preset asan --target nvmepcissd simulator_stage incomplete_update
exec python3 -B tests/model/check_model.py --program build/asan --stage build/asan/simulator \
  --partial build/asan/tests/system/incomplete/incomplete_update.so --jobs "$(nproc)" --count "$count" "${seed[@]}"
