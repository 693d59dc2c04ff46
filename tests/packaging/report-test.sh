#!/usr/bin/env bash
# The report page in a browser: sorting, filtering, light and dark, a phone's width, and paper.
# With PICTURES set to a folder, screenshots are left there.
# shellcheck source-path=SCRIPTDIR source=support.sh
. "$(dirname "$0")/support.sh"

here=$(cd "$(dirname "$0")" && pwd)
"$here/sample-documents.sh" "$build" "$scratch/documents"
cd "$scratch/documents"
"$build/nvmepcissd-tool" report -o "$scratch/report.html" -- *.xml 2>/dev/null && fail "the broken document went unnoticed"
python3 "$here/report_test.py" "$scratch/report.html" "${PICTURES:-}"
