# shellcheck shell=bash
# common.sh: what every script here shares; to be sourced, not run.
# Gives the repository's folders, progress lines with the time since the start, and one way to fail.

set -euo pipefail

LINKWELL_ROOT="$(cd -- "$(dirname -- "$(readlink -f -- "${BASH_SOURCE[0]}")")/../.." && pwd)"
LINKWELL_BUILD="$LINKWELL_ROOT/build"
# How the script was called, for others that wait for it.
LINKWELL_COMMAND="${0#"$LINKWELL_ROOT"/}${*:+ $*}"
readonly LINKWELL_ROOT LINKWELL_BUILD LINKWELL_COMMAND

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

# require_writable FILES... [FIND OPTIONS...]: ends the script, and says why, unless it can write to all of these.
require_writable()
{
    local stuck owner user
    stuck="$(find "$@" ! -type l ! -writable -print -quit)"
    [[ -n $stuck ]] || return 0
    owner="$(stat -c %U -- "$stuck")"
    user="$(id -un)"
    [[ $owner == "$user" ]] ||
        die "$stuck belongs to $owner, and $user can't write there: run this as $owner, or in a clone of your own"
    die "$stuck is read-only, and the scripts write there: run them in a clone that can be written to"
}

make_build_folder()
{
    if [[ ! -d $LINKWELL_BUILD ]]; then
        require_writable "$LINKWELL_ROOT" -maxdepth 0
        mkdir -p "$LINKWELL_BUILD"
    fi
    require_writable "$LINKWELL_BUILD" -maxdepth 1
}

# run_quietly LOG COMMAND...: runs a long command with its output in a file in build/, and says that it still runs, every
# ten seconds or, on a terminal, in one line that changes. Gives the command's exit status.
run_quietly()
{
    local log="$1"
    shift
    make_build_folder
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
    return "$status"
}

# run_logged LOG COMMAND...: the same, and shows the end of the file when the command fails.
run_logged()
{
    local status=0
    run_quietly "$@" || status=$?
    [[ $status -eq 0 ]] || show_end "$1"
    return "$status"
}

show_end()
{
    printf '%s\n' "--- the last lines of $1:" >&2
    tail -n 40 -- "$1" >&2
}

# die_if_offline REGISTRY LOGS...: ends the script in one line where npm or apt-get has said in a log that it can't reach
# the registry.
die_if_offline()
{
    local registry="$1" log fault
    local words='E(NOTFOUND|AI_AGAIN|CONNREFUSED|CONNRESET|TIMEDOUT|NETUNREACH|HOSTUNREACH)|Temporary failure resolving|(Could not|Unable to) connect|Connection (failed|timed out)'
    shift
    for log in "$@"; do
        fault="$(grep -oE -m 1 "$words" "$log")" || continue
        die "$registry can't be reached (${fault%%$'\n'*}), and something is to be installed; more is in ${log#"$LINKWELL_ROOT"/}"
    done
}

# take_lock DESCRIPTOR FILE SECONDS: whether the lock on a file, open for appending as this descriptor, could be had in
# that time. The file then says who has it.
take_lock()
{
    flock -w "$3" "$1" || return 1
    printf '%s\n' "$$" "$(id -un)" "$(date '+%F %T')" "$LINKWELL_COMMAND" >"$2"
}

# lock_holder FILE: who has the lock, in words.
lock_holder()
{
    local fields state=""
    mapfile -t fields <"$1"
    [[ ${#fields[@]} -eq 4 ]] || fields=("?" "?" "?" "another script")
    [[ -d /proc/${fields[0]} ]] || state="; it has ended, but not all that it has started"
    printf '%s\n' "${fields[3]} (process ${fields[0]} of ${fields[1]}, since ${fields[2]}$state)"
}

# take_turn: the scripts that build and use the Wine prefix run one after the other, as they share both the build
# folder and the one pipe name of the host. The lock is descriptor 8, held until this script ends; what may outlive the
# script, which is all that runs under Wine, is started without it (wine-run, start_wine). A script that is run by another
# one has its turn with that.
take_turn()
{
    local lock="$LINKWELL_BUILD/scripts.lock" seconds="${LINKWELL_TURN_SECONDS:-1800}"
    [[ ! /proc/self/fd/8 -ef $lock ]] || return 0
    make_build_folder
    exec 8>>"$lock"
    take_lock 8 "$lock" 0 && return
    step "Waiting for $(lock_holder "$lock")"
    take_lock 8 "$lock" "$seconds" || die "after $((seconds / 60)) minutes there still runs $(lock_holder "$lock")"
}
