# Shared by the scripts of this folder, which source it from the top of the tree.

# One line on what is going on.
note() { echo "$*"; }

# One line on why it cannot go on.
die() {
    echo "$(basename "$0"): $*" >&2
    exit 1
}

# quietly NAME COMMAND...: keeps the output in build/logs/NAME.log and shows it only on failure.
quietly() {
    local log=build/logs/$1.log status=0
    mkdir -p build/logs
    "${@:2}" >"$log" 2>&1 </dev/null || status=$?
    if ((status != 0)); then
        cat "$log"
        echo "$(basename "$0"): $1 failed (status $status); the output above is also in $log" >&2
    fi
    return "$status"
}
