#!/usr/bin/env bash
# Tests the operator's page in a real browser, over made-up slots, and over the real floor with simulated
# switches. Pictures of it go to build/screenshots.
#   tests/browser/run.sh [MODULE, CLASS or TEST, as unittest takes them...]
#   SETMAC_SHIFT_UNITS=100 SETMAC_SHIFT_SEED=7 tests/browser/run.sh shift_test
. "$(dirname "$0")/../../scripts/lib.sh"

# zbar reads the codes that the page draws; the fonts are those of a plain Debian.
install_missing "${build_packages[@]}" chromium chromium-driver python3-selenium python3-pil zbar-tools fonts-dejavu-core fonts-noto-color-emoji

build release setmac setmac-tlv simboard simboard_preload setmac-station setmac-ledger setmac-floor

export PICTURES=$PWD/build/screenshots
mkdir -p "$PICTURES"
cd tests/browser
# The one that Debian's packages belong to; another may come first on the path.
if [ $# -eq 0 ]; then
    exec /usr/bin/python3 -B -m unittest discover --pattern '*_test.py'
fi
exec /usr/bin/python3 -B -m unittest "$@"
