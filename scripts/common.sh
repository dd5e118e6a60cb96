# shellcheck shell=bash
# Every shell script of this folder sources this file, which changes the working directory to the project's root.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

# fail TEXT [STATUS]: ends the script with one line on standard error.
fail() {
    echo "${0##*/}: $1" >&2
    exit "${2-1}"
}

# expect_one_of KIND VALUE WORD...: fails unless the value is one of the words.
expect_one_of() {
    printf '%s\n' "${@:3}" | grep -qxF -- "$2" || fail "unknown $1 \"$2\": expected one of ${*:3}" 2
}
