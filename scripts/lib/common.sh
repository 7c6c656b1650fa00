# shellcheck shell=bash
# common.sh: what every script here shares; to be sourced, not run.
# Gives the repository's folders, progress lines with the time since the start, and one way to fail.

set -euo pipefail

LINKWELL_ROOT="$(cd -- "$(dirname -- "$(readlink -f -- "${BASH_SOURCE[0]}")")/../.." && pwd)"
LINKWELL_BUILD="$LINKWELL_ROOT/build"
readonly LINKWELL_ROOT LINKWELL_BUILD

# One progress line: what begins now, and how long the script has been running.
step()
{
    printf '==> [%3ds] %s\n' "$SECONDS" "$*"
}

# A line of detail below a step.
note()
{
    printf '           %s\n' "$*"
}

# Says what is wrong and, in further arguments, what to do about it; ends the script with status 1.
die()
{
    printf 'error: %s\n' "$1" >&2
    shift
    local line
    for line in "$@"; do
        printf '       %s\n' "$line" >&2
    done
    exit 1
}

# The resource compiler hands paths to a shell as they stand.
if [[ $LINKWELL_ROOT == *[\&\(\)\'\"\$\`\;\|\<\>\\]* ]]; then
    die "$LINKWELL_ROOT: the resource compiler can't take & ( ) ' \" \$ \` ; | < > \\ in a path; move the repository"
fi

# run_logged LOG COMMAND...: runs a long command with its output in a file, says that it still runs, every ten seconds
# or, on a terminal, in one line that changes, and shows the end of the file when it fails. Gives the command's exit
# status.
run_logged()
{
    local log="$1"
    shift
    mkdir -p "$(dirname -- "$log")"
    local status=0 started=$SECONDS pause=10 begin='' end='\n'
    if [[ -t 1 ]]; then
        pause=1 begin='\r\033[K' end=''
    fi
    (
        # Its own sleep must not outlive it, and it must not outlive the script.
        trap 'kill "$nap"; exit' TERM
        while sleep "$pause" >/dev/null 2>&1 & nap=$!; wait "$nap" && kill -0 "$$" 2>/dev/null; do
            printf '%b           ... %d s, still running: %s%b' "$begin" "$((SECONDS - started))" \
                "$(tail -n 1 -- "$log" | cut -c 1-42)" "$end"
        done
    ) &
    local ticker=$!
    "$@" </dev/null >"$log" 2>&1 || status=$?
    kill "$ticker" 2>/dev/null || true
    wait "$ticker" 2>/dev/null || true
    printf '%b' "$begin"
    if [[ $status -ne 0 ]]; then
        printf '%s\n' "--- the last lines of $log:" >&2
        tail -n 40 -- "$log" >&2
    fi
    return "$status"
}

# take_turn: the scripts that build and use the Wine prefix run one after the other, as they share both the build
# folder and the one pipe name of the host. The lock is descriptor 8, held until this script ends; what may outlive the
# script, which is all that runs under Wine, is started without it (wine-run, start_wine).
take_turn()
{
    mkdir -p "$LINKWELL_BUILD"
    exec 8>"$LINKWELL_BUILD/scripts.lock"
    if ! flock -n 8; then
        step "Waiting for another script of this repository to end"
        flock -w 1800 8 || die "another script still runs after 30 minutes" \
            "It holds $LINKWELL_BUILD/scripts.lock."
    fi
}
