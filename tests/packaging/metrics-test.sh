#!/usr/bin/env bash
# The format of metrics is that of Prometheus: of what the tool writes here, and of the drives with odd names in
# tests/data/metrics.prom, which the unit tests compare with what the tool would write.
# shellcheck source-path=SCRIPTDIR source=support.sh
. "$(dirname "$0")/support.sh"

"$build/nvmepcissd-tool" metrics --state "$scratch/state" >"$scratch/metrics.prom" || fail "there are no metrics"
for file in "$scratch/metrics.prom" "$root/tests/data/metrics.prom"; do
  promtool check metrics <"$file" || fail "promtool refuses $file"
done
# An unescaped quotation mark.
sed 's/\\"/"/' "$root/tests/data/metrics.prom" >"$scratch/broken.prom"
! promtool check metrics <"$scratch/broken.prom" 2>/dev/null || fail "promtool checks nothing"
