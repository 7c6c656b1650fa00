# shellcheck shell=bash
# wine.sh: the project's private Wine prefix; to be sourced after common.sh.
#
# The prefix is $LINKWELL_WINEPREFIX, or build/wineprefix; ~/.wine is never touched. It is made once, under a
# temporary name, and then renamed, so a prefix that has its name is complete.
#
# A wineserver that starts on demand starts Wine's service processes too. They inherit the standard error of the
# program that came first and keep it open for two seconds after that program has ended, so whatever reads it waits
# for them. So the server is started ahead, with handles of its own, and stays for some minutes after the last program.

# The prefix is made anew when this text differs from the one in its stamp file.
readonly WINE_PREFIX_VERSION="linkwell-prefix 2"
readonly WINE_SERVER_LINGER_SECONDS=300

# Sets WINE_PROGRAM and WINE_SERVER to the 64-bit loader and server, and the variables that Wine itself reads.
find_wine()
{
    local candidate
    WINE_PROGRAM=""
    for candidate in /usr/lib/wine/wine64 wine64 wine; do
        if WINE_PROGRAM="$(command -v "$candidate")"; then
            break
        fi
    done
    [[ -n $WINE_PROGRAM ]] || die "Wine is not installed" "scripts/setup installs it."
    WINE_SERVER=""
    for candidate in /usr/lib/wine/wineserver64 "$(dirname -- "$WINE_PROGRAM")/wineserver" wineserver; do
        if WINE_SERVER="$(command -v "$candidate")"; then
            break
        fi
    done
    [[ -n $WINE_SERVER ]] || die "wineserver is not installed" "scripts/setup installs it, with Wine."

    WINEPREFIX="$(realpath -m -- "${LINKWELL_WINEPREFIX:-$LINKWELL_BUILD/wineprefix}")"
    export WINEPREFIX
    export WINEARCH=win64
    # By its character set Wine reads arguments, variables and file names; one such as ASCII would lose what is in them.
    export LC_ALL=C.UTF-8
    export WINEDEBUG="${WINEDEBUG:--all}"
    # No dialogs that offer to download Mono or Gecko, no entries in the desktop's menus.
    export WINEDLLOVERRIDES="${WINEDLLOVERRIDES:-mscoree=;mshtml=;winemenubuilder.exe=d}"
}

# registry_value KEY NAME TYPE DATA: sets one value; an empty name is the key's default value. The data reaches the
# registry as it stands, percent signs included.
registry_value()
{
    local name=(/v "$2")
    if [[ -z $2 ]]; then
        name=(/ve)
    fi
    timeout --foreground 60 "$WINE_PROGRAM" reg add "$1" "${name[@]}" /t "$3" /d "$4" /f
}

# Gives the status of the first step that fails.
fill_prefix()
{
    local mail='HKLM\Software\Clients\Mail'
    timeout --foreground 180 "$WINE_PROGRAM" wineboot -i &&
        registry_value 'HKCU\Software\Wine' Version REG_SZ win10 &&
        # Windows and message queues without a display.
        registry_value 'HKCU\Software\Wine\Drivers' Graphics REG_SZ null &&
        # A program that crashes ends at once: no debugger comes to look at it, and none asks in a dialog that nobody sees.
        registry_value 'HKLM\Software\Microsoft\Windows NT\CurrentVersion\AeDebug' Debugger REG_SZ '' &&
        registry_value 'HKCU\Software\Wine\WineDbg' ShowCrashDialog REG_DWORD 0 &&
        # The sandbox is the default mail client. Which file it is, each run says by its own environment, so that
        # every build folder uses its own.
        registry_value "$mail" '' REG_SZ 'Linkwell Sandbox' &&
        registry_value "$mail\\Linkwell Sandbox" '' REG_SZ 'Linkwell Sandbox' &&
        registry_value "$mail\\Linkwell Sandbox" DllPathEx REG_EXPAND_SZ '%LINKWELL_SANDBOX_DLL%'
}

# Makes the prefix named by WINEPREFIX. The caller holds the prefix's lock.
make_prefix()
{
    local final="$WINEPREFIX"
    local log="$final.log" status=0
    rm -rf -- "$final".new.*
    WINEPREFIX="$final.new.$$"
    mkdir -p "$WINEPREFIX"
    fill_prefix </dev/null >"$log" 2>&1 || status=$?
    # The server writes the registry files when it ends.
    stop_wine_server
    if [[ $status -ne 0 || ! -s $WINEPREFIX/system.reg ]]; then
        tail -n 20 -- "$log" >&2
        rm -rf -- "$WINEPREFIX"
        die "the Wine prefix $final can't be made (status $status)" "The whole output is in $log."
    fi
    printf '%s\n' "$WINE_PREFIX_VERSION" >"$WINEPREFIX/.linkwell"
    mv -T -- "$WINEPREFIX" "$final"
    WINEPREFIX="$final"
}

# Makes sure that the prefix is there and its server runs; safe to be called by many processes at a time.
# Its messages go to standard error.
prepare_wine()
{
    find_wine
    local owner
    if [[ -e $WINEPREFIX && ! -O $WINEPREFIX ]]; then
        owner="$(stat -c %U -- "$WINEPREFIX")"
        die "$WINEPREFIX belongs to $owner, and Wine takes a prefix from its owner alone: run this as $owner, or name another folder in LINKWELL_WINEPREFIX"
    fi
    mkdir -p "$(dirname -- "$WINEPREFIX")"
    require_writable "$(dirname -- "$WINEPREFIX")" -maxdepth 0
    # Descriptors of this shell only: a server that inherited a lock would hold it for as long as it lives.
    exec 9>>"$WINEPREFIX.lock"
    take_lock 9 "$WINEPREFIX.lock" 600 || die "for 10 minutes the Wine prefix has been held by $(lock_holder "$WINEPREFIX.lock")"
    start_wine 8>&- 9>&-
    exec 9>&-
}

start_wine()
{
    local stamp=""
    if [[ -e $WINEPREFIX ]]; then
        [[ -f $WINEPREFIX/.linkwell ]] || die "$WINEPREFIX is not a Wine prefix of this project" \
            "Remove it, or name another folder in LINKWELL_WINEPREFIX."
        stamp="$(<"$WINEPREFIX/.linkwell")"
    fi
    if [[ $stamp != "$WINE_PREFIX_VERSION" ]]; then
        if [[ -n $stamp ]]; then
            stop_wine_server
            rm -rf -- "$WINEPREFIX"
        fi
        step "Making the Wine prefix $WINEPREFIX (about 10 seconds, once)" >&2
        make_prefix
    fi

    # Status 0: started now; 2: it was there.
    local status=0
    "$WINE_SERVER" "-p$WINE_SERVER_LINGER_SECONDS" </dev/null >/dev/null 2>&1 || status=$?
    case $status in
        0) timeout --foreground 120 "$WINE_PROGRAM" wineboot </dev/null >/dev/null 2>&1 ||
            die "Wine does not start in $WINEPREFIX" "Remove that folder to have it made anew." ;;
        2) ;;
        *) die "$WINE_SERVER can't be started (status $status)" ;;
    esac
}

# Ends the server of this prefix, with all that still runs under it, and waits until it is gone.
stop_wine_server()
{
    "$WINE_SERVER" -k </dev/null >/dev/null 2>&1 || true
    timeout --foreground 30 "$WINE_SERVER" -w </dev/null >/dev/null 2>&1 ||
        die "the wineserver of $WINEPREFIX does not end"
}

# As prepare_wine, for a script that has its turn: ends what an interrupted run has left in the prefix, as an agent or a
# host that still runs would be taken for one of this run.
restart_wine()
{
    find_wine
    if [[ -d $WINEPREFIX ]]; then
        stop_wine_server
    fi
    prepare_wine
}

# windows_path PATH: the same file as Windows programs under Wine name it.
windows_path()
{
    local path
    path="$(realpath -m -- "$1")"
    printf 'Z:%s\n' "${path//\//\\}"
}
