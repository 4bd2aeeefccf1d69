#!/bin/sh
# The man pages as mandoc sees them, whose every remark is an offence. Ends with 77 without mandoc.
set -eu
cd "$(dirname "$0")/../../man"
command -v mandoc >/dev/null || { echo "Skipped for want of mandoc; ./dev test installs it."; exit 77; }
mandoc -T lint -- *
