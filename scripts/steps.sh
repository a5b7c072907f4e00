# shellcheck shell=bash
# Sourced, with the repository's root as working directory, by the scripts that build and check: one line a step.

# step NAME COMMAND...  Runs a command or function with its output in build/logs/NAME.log and prints its name and time.
# When it fails, shows the log and ends the script. Sets `log` to the file.
step() {
    local name=$1 start=$SECONDS status
    shift
    log=build/logs/${name//[^A-Za-z0-9]/-}.log
    mkdir -p build/logs
    printf '%s ... ' "$name"
    # Not in a condition, where bash would ignore errors inside of a function.
    set +e
    (set -e; "$@") >"$log" 2>&1 </dev/null
    status=$?
    set -e
    if ((status)); then
        echo failed
        cat "$log"
        exit "$status"
    fi
    echo "$((SECONDS - start)) s"
}

build_preset() {
    cmake --preset "$1"
    cmake --build --preset "$1"
}

# test_preset PRESET [PREFIX...]  Runs the tests of a built preset, the command behind PREFIX, and prints their summary.
# A test that hangs has failed after five minutes.
test_preset() {
    local preset=$1
    shift
    step "test $preset" "$@" ctest --preset "$preset" --no-tests=error --timeout 300 -j "$(nproc)"
    sed -n '/tests passed/,$p' "$log"
}
