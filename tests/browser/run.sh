#!/usr/bin/env bash
# Tests the operator's page in a real browser, over made-up slots. Pictures of it go to build/screenshots.
#   tests/browser/run.sh [MODULE, CLASS or TEST, as unittest takes them...]
. "$(dirname "$0")/../../scripts/lib.sh"

# zbar reads the codes that the page draws; the fonts are those of a plain Debian.
install_missing chromium chromium-driver python3-selenium python3-pil zbar-tools fonts-dejavu-core fonts-noto-color-emoji

export PICTURES=$PWD/build/screenshots
mkdir -p "$PICTURES"
cd tests/browser
# The one that Debian's packages belong to; another may come first on the path.
if [ $# -eq 0 ]; then
    exec /usr/bin/python3 -B -m unittest discover --pattern '*_test.py'
fi
exec /usr/bin/python3 -B -m unittest "$@"
