#!/usr/bin/env bash
# Tests what scripts/test.sh leaves out because it needs more packages: installation, .deb and .rpm packages, manual
# pages, bash completion, the report page in a browser, and the format of metrics. Arguments go to ctest.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-packages.sh packaging

cmake --preset packaging >/dev/null
cmake --build --preset packaging
ctest --preset packaging "$@"
