# shellcheck shell=bash
# npm.sh: packages for Node.js; to be sourced after common.sh.

# install_packages FOLDER WHAT [NPM OPTIONS...]: installs what the lock file in that folder names, unless it is there.
# WHAT is what the user reads.
install_packages()
{
    local folder="$1" what="$2"
    shift 2
    local installed="$folder/node_modules/.package-lock.json"
    if [[ $installed -nt $folder/package-lock.json ]]; then
        return
    fi
    require_writable "$folder" -maxdepth 0
    step "Installing $what"
    local log="$LINKWELL_BUILD/npm.log"
    if ! run_quietly "$log" npm --prefix "$folder" ci "$@" --no-audit --no-fund; then
        die_if_offline "the npm registry" "$log"
        show_end "$log"
        die "npm could not install what ${folder#"$LINKWELL_ROOT"/}/package-lock.json names" "The whole output is in build/npm.log."
    fi
    # npm may give the file the time of an earlier run.
    touch "$installed"
}

# What scripts/import needs.
install_import()
{
    install_packages "$LINKWELL_ROOT/scripts/lib/import" "readers of vCards, CSV and character sets (npm, about 1 MB)"
}
