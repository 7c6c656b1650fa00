# shellcheck shell=bash
# sandbox.sh: how a sandbox that runs is asked; to be sourced after common.sh.

# The pipe of the sandbox that scripts/demo runs; scripts/sandboxctl talks to it. It lies in the Wine prefix.
# shellcheck disable=SC2034
readonly SANDBOX_CONTROL_PIPE='\\.\pipe\linkwell-sandbox'
