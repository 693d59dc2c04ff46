#!/usr/bin/env bash
# Measures the component against the yardstick. docs/performance.md says what came out and how to read it.
#
#   scripts/bench.sh            all tables: inventory and update, with the log off and on
#   scripts/bench.sh gate       instructions and peak memory; fails above 1.10 times the yardstick
#   scripts/bench.sh growth     instructions against drives and entries; draws docs/images/growth.svg
#   scripts/bench.sh large      time and memory of 2,000 drives and 3,000 entries; fails above 1 GiB
#   scripts/bench.sh documents  show, report, verify, metrics against libxml2; fails above 3 times; docs/images/documents.svg
#   scripts/bench.sh micro      the micro-benchmarks
set -euo pipefail
cd "$(dirname "$0")/.."

packages=bench target=bench
case ${1:-tables} in
  gate) ;;
  tables | growth | large) packages=bench-${1:-tables} ;;
  documents) packages=bench-documents target=nvmepcissd-tool ;;
  micro) target=microbenchmarks ;;
  *) echo "usage: $0 [tables|gate|growth|large|documents|micro]" >&2; exit 2 ;;
esac
scripts/install-packages.sh $packages
cmake --preset bench >/dev/null
cmake --build --preset bench --target "$target" -- --quiet

measure() { python3 bench/measure.py build/release "$@"; }
case ${1:-tables} in
  tables)
    measure
    measure --debug
    measure --update
    measure --update --debug ;;
  gate) measure --gate ;;
  growth)
    measure --growth build/growth.tsv
    gnuplot -e "data='build/growth.tsv'; image='docs/images/growth.svg'" bench/growth.gnuplot ;;
  large) measure --large 2000x3000 ;;
  documents)
    python3 bench/documents.py build/release build/documents.tsv
    gnuplot -e "data='build/documents.tsv'; image='docs/images/documents.svg'" bench/documents.gnuplot ;;
  micro) build/release/microbenchmarks --benchmark_min_time=0.3 ;;
esac
