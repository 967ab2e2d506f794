#!/bin/sh
# Installs the test's pinned node modules into the build tree (never a
# browser: the test drives the system's chromium), then runs the test.
#   run_dashboard_test.sh WORK_DIR TEST_SCRIPT ARGS...
set -e
work=$1
script=$2
shift 2
cd "$work"
if [ ! -f node_modules/.package-lock.json ] || ! cmp -s package-lock.json node_modules/.lock-installed; then
    PUPPETEER_SKIP_DOWNLOAD=1 npm ci --no-audit --no-fund --loglevel=error
    cp package-lock.json node_modules/.lock-installed
fi
exec node "$script" "$@"
