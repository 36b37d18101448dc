# shellcheck shell=bash disable=SC2034
# Shared by the scripts of this folder, which source it from the top of the tree.

# What each kind of work needs, all of it from Debian.
readonly build_packages=(cmake make g++ pkg-config qtbase5-dev)
readonly program_packages=(libqt5serialport5-dev libmodbus-dev libcli11-dev libpcap-dev
    libsqlite3-dev libncurses-dev libmicrohttpd-dev libjs-chart.js libmosquitto-dev)
readonly test_packages=(libgtest-dev libbenchmark-dev binutils python3-jsonschema tshark
    abigail-tools doxygen tmux mosquitto mosquitto-clients openssl help2man mandoc)
# What makes the Debian packages, and what looks at them.
readonly package_packages=(dpkg-dev fakeroot help2man lintian mmdebstrap systemd)
readonly web_packages=(chromium chromium-driver python3-selenium)
# What measures the panel beside another master, and draws it.
readonly bench_packages=(gnuplot-nox libbenchmark-dev python3)
readonly fuzz_packages=(clang libclang-rt-dev llvm)
readonly panel_packages=(g++-arm-linux-gnueabihf qemu-user)

jobs=$(nproc)
readonly jobs

# One line on what is going on.
note() { echo "$*"; }

# One line on why it cannot go on.
die() {
    echo "$(basename "$0"): $*" >&2
    exit 1
}

# quietly NAME COMMAND...: keeps the output in build/logs/NAME.log and shows its end on failure only.
# A function handed to it joins its steps with &&: set -e does not reach into it.
quietly() {
    local log=build/logs/$1.log status=0
    mkdir -p build/logs
    "${@:2}" >"$log" 2>&1 </dev/null || status=$?
    if ((status != 0)); then
        tail -n 80 "$log"
        echo "$(basename "$0"): $1 failed with status $status; the whole output is in $log" >&2
    fi
    return "$status"
}

# build PRESET [TARGET...]: configures and builds, everything unless targets are named.
build() {
    local preset=$1
    shift
    quietly "$preset-configure" cmake --preset "$preset"
    quietly "$preset-build" cmake --build --preset "$preset" --parallel "$jobs" ${1:+--target "$@"}
}
