# Words of the tests that are shell scripts, which are run as  run CHECK ... :  exit status 0 passed; 1 failed; 77 this
# machine cannot run it, which in CI (CI=true) is a failure.
# shellcheck shell=bash
check=$1

cannot_run() {
    echo "$check: $1"
    [ "${CI:-}" = true ] && exit 1
    echo SKIPPED
    exit 77
}
fail() {
    echo "$check: FAIL $*"
    exit 1
}
needs() {
    local program
    for program in "$@"; do command -v "$program" >/dev/null || cannot_run "no $program on this machine"; done
}
