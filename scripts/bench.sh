#!/usr/bin/env bash
# Measures the component against the yardstick: inventory and update, with the log off and on.
#
#   scripts/bench.sh            all tables (instructions, wall time, memory, system calls, pages)
#   scripts/bench.sh gate       instructions of an inventory only; fails above 1.10 times the yardstick
#   scripts/bench.sh growth     instructions against drives and entries; draws docs/images/growth.svg
#   scripts/bench.sh micro      the micro-benchmarks
set -euo pipefail
cd "$(dirname "$0")/.."

packages=(g++ cmake ninja-build libxml2-dev nlohmann-json3-dev libcli11-dev python3 valgrind)
case ${1:-tables} in
  tables) packages+=(strace) ;;
  growth) packages+=(gnuplot-nox) ;;
  micro) packages+=(libbenchmark-dev) ;;
esac
scripts/install-packages.sh "${packages[@]}"
cmake --preset release >/dev/null
cmake --build --preset release --target bench >/dev/null

measure() { python3 bench/measure.py build/release "$@"; }
case ${1:-tables} in
  tables)
    for options in "" --debug --update "--update --debug"; do
      # shellcheck disable=SC2086 # options are words
      measure $options
    done ;;
  gate) measure --gate ;;
  growth)
    mkdir -p docs/images
    measure --growth build/growth.tsv
    gnuplot -e "data='build/growth.tsv'; image='docs/images/growth.svg'" bench/growth.gnuplot ;;
  micro) build/release/microbenchmarks ;;
  *) echo "usage: $0 [tables|gate|growth|micro]" >&2; exit 2 ;;
esac
