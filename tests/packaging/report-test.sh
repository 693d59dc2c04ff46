#!/usr/bin/env bash
# The report page in a browser: sorting, filtering, light and dark, a phone's width, and paper.
# With PICTURES set to a folder, screenshots are left there.
# shellcheck source-path=SCRIPTDIR source=support.sh
. "$(dirname "$0")/support.sh"

here=$(cd "$(dirname "$0")" && pwd)
"$here/sample-documents.sh" "$build" "$scratch/documents"
cd "$scratch/documents"
"$build/nvmepcissd-tool" report -o "$scratch/report.html" -- *.xml || fail "a document was not read"
python3 "$here/large_document.py" 100000 >"$scratch/large.xml"
"$build/nvmepcissd-tool" report -o "$scratch/large.html" "$scratch/large.xml"
python3 "$here/report_test.py" "$scratch/report.html" "$scratch/large.html" "${PICTURES:-}"
