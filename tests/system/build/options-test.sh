#!/usr/bin/env bash
# Configures the project as on a machine where packages are missing: every option names what it needs, its package and
# how to do without, and the component alone needs none of them. Arguments: repository, compiler.
set -euo pipefail
root=$1 compiler=$2
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

fail() { echo "FAILED: $*" >&2; exit 1; }

# Configures without the packages that the machine may have, in a folder of its own for each call.
without() {
  local packages=$1 package hidden=()
  shift
  for package in $packages; do hidden+=("-DCMAKE_DISABLE_FIND_PACKAGE_$package=ON"); done
  rm -rf "$scratch/build"
  cmake -S "$root" -B "$scratch/build" -G Ninja -DCMAKE_CXX_COMPILER="$compiler" "${hidden[@]}" "$@" >"$scratch/log" 2>&1
}

# expect_stop TEXT PACKAGES ARGUMENT...: the configuration stops and says TEXT, whatever its line breaks.
expect_stop() {
  local text=$1
  shift
  ! without "$@" || fail "configured without \"$1\" and ${*:2}"
  tr -s ' \n' '  ' <"$scratch/log" | grep -qF "$text" || { cat "$scratch/log" >&2; fail "it does not say: $text"; }
}

everything="nlohmann_json CLI11 LibElf Nettle GTest benchmark Python3"
alone=(-DNVMEPCISSD_SIMULATOR=OFF -DNVMEPCISSD_TOOL=OFF -DNVMEPCISSD_TESTS=OFF)
without "$everything" "${alone[@]}" || { cat "$scratch/log" >&2; fail "the component alone cannot be configured"; }

no_tests=-DNVMEPCISSD_TESTS=OFF
expect_stop "The component needs LibXml2: install libxml2-dev." LibXml2
expect_stop "NVMEPCISSD_SIMULATOR needs nlohmann_json: install nlohmann-json3-dev, or configure with -DNVMEPCISSD_SIMULATOR=OFF." \
  "$everything"
expect_stop "NVMEPCISSD_TOOL needs CLI11: install libcli11-dev, or configure with -DNVMEPCISSD_TOOL=OFF." CLI11 $no_tests
expect_stop "NVMEPCISSD_TOOL needs nlohmann_json: install nlohmann-json3-dev, or configure with -DNVMEPCISSD_TOOL=OFF." \
  nlohmann_json $no_tests -DNVMEPCISSD_SIMULATOR=OFF
expect_stop "NVMEPCISSD_TOOL needs LibElf: install libelf-dev, or configure with -DNVMEPCISSD_TOOL=OFF." LibElf $no_tests
expect_stop "NVMEPCISSD_TOOL needs Nettle: install nettle-dev, or configure with -DNVMEPCISSD_TOOL=OFF." Nettle $no_tests
expect_stop "NVMEPCISSD_TESTS needs GTest: install libgtest-dev and libgmock-dev, or configure with -DNVMEPCISSD_TESTS=OFF." GTest
expect_stop "NVMEPCISSD_TESTS needs Python3: install python3, or configure with -DNVMEPCISSD_TESTS=OFF." Python3
expect_stop "NVMEPCISSD_BENCH needs benchmark: install libbenchmark-dev, or configure with -DNVMEPCISSD_BENCH=OFF." \
  benchmark $no_tests -DNVMEPCISSD_BENCH=ON
expect_stop "NVMEPCISSD_PACKAGING needs Gzip: install gzip, or configure with -DNVMEPCISSD_PACKAGING=OFF." Gzip "${alone[@]}"
expect_stop "NVMEPCISSD_TESTS needs NVMEPCISSD_SIMULATOR: turn it on, or configure with -DNVMEPCISSD_TESTS=OFF." \
  "" -DNVMEPCISSD_SIMULATOR=OFF
expect_stop "NVMEPCISSD_RBKL_LIBRARY names no file: /no/such/librbkl.so.0" "" -DNVMEPCISSD_RBKL_LIBRARY=/no/such/librbkl.so.0

# An installation that would lay down nothing says so. Checked before anything is installed, so nothing need be built.
install_fails() {
  local text=$1
  shift
  ! cmake --install "$scratch/build" --prefix "$scratch/prefix" "$@" >"$scratch/log" 2>&1 || fail "installed $*"
  tr -s ' \n' '  ' <"$scratch/log" | grep -qF "$text" || { cat "$scratch/log" >&2; fail "it does not say: $text"; }
  [ ! -e "$scratch/prefix" ] || fail "something was installed"
}
without "" "${alone[@]}"
install_fails "There is no install component 'simulator' here, only: runtime" --component simulator
without "" "${alone[@]}" -DNVMEPCISSD_PACKAGING=OFF
install_fails 'There is nothing to install: configured with NVMEPCISSD_PACKAGING=OFF'
install_fails 'There is nothing to install: configured with NVMEPCISSD_PACKAGING=OFF' --component runtime
