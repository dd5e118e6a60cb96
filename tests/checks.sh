# Sourced by checks. Gives a check its own folder, counts its failures and compares a program's output.
set -euo pipefail
scratch=$(mktemp -d)
failures=0
clean_up() { :; }  # A check that starts servers replaces this function.
trap 'status=$?; clean_up; rm -r "$scratch"; exit $((status != 0 ? status : failures > 0))' EXIT

fail() {
    echo "line ${BASH_LINENO[-2]}: $1"
    failures=$((failures + 1))
}

# expect STATUS TEXT COMMAND...: expects that the command ends with the status and prints the text. A command that fails
# must print exactly one line on standard error.
expect() {
    local wanted=$1 text=$2 status=0
    shift 2
    "$@" >"$scratch/output" 2>"$scratch/errors" || status=$?
    [[ $status == "$wanted" ]] || fail "status $status instead of $wanted: $text"
    grep -qF -- "$text" "$scratch/output" "$scratch/errors" || fail "not printed: $text; but: $(<"$scratch/errors")"
    [[ $wanted == 0 || $(wc -l <"$scratch/errors") == 1 ]] || fail "not one line on standard error: $text"
}
