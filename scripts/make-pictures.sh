#!/usr/bin/env bash
# Makes the pictures of the pages: docs/images/demo.svg from the demo's output, docs/images/report-{light,dark}.png from the
# report page of several simulated servers in a headless browser, docs/images/fleet.png from the page of a rollout to a rack.
# That needs root.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-packages.sh pictures

mkdir -p docs/images build/pictures

PICTURES=$PWD/build/pictures scripts/test-packaging.sh -R packaging.report
cp build/pictures/report-light.png build/pictures/report-dark.png docs/images/

cmake --preset release >/dev/null
cmake --build --preset release --target nvmepcissd-tool nvmepcissd simulator_stage >/dev/null
PICTURES=$PWD/build/pictures /usr/bin/python3 tests/fleet/rollout_test.py "$PWD" build/release \
  RolloutTest.test_the_report_tells_what_each_server_needs
chromium --headless --no-sandbox --disable-gpu --hide-scrollbars --window-size=1200,1250 \
  --screenshot=docs/images/fleet.png "file://$PWD/build/pictures/report.html"

# On a terminal of its own, so that the colours are there.
TERM=xterm script -qec scripts/demo.sh build/pictures/demo.typescript >/dev/null
# The update that one drive refuses, and the tables, without the document: lines that are longer make the text small.
tr -d '\r' <build/pictures/demo.typescript |
  awk '/== Update with one drive of three/ {shown = 1}
       /== Before it ships/ {exit}
       shown && !/^ *<|^\[/' >build/pictures/demo.txt
scripts/terminal_svg.py <build/pictures/demo.txt >docs/images/demo.svg

ls -l docs/images
