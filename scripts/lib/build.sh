# shellcheck shell=bash
# build.sh: configuring and building; to be sourced after common.sh.

LINKWELL_PRESET="mingw-release"
LINKWELL_BUILD_DIR="$LINKWELL_BUILD/$LINKWELL_PRESET"
readonly LINKWELL_PRESET LINKWELL_BUILD_DIR

# Configures build/mingw-release.
configure()
{
    local launcher=()
    if command -v ccache >/dev/null; then
        # Without these words ccache keeps nothing that is compiled with a precompiled header.
        launcher=("-DCMAKE_CXX_COMPILER_LAUNCHER=env;CCACHE_SLOPPINESS=pch_defines,time_macros;ccache")
    fi
    step "Configuring ${LINKWELL_BUILD_DIR#"$LINKWELL_ROOT"/}"
    run_logged "$LINKWELL_BUILD/configure.log" \
        cmake -S "$LINKWELL_ROOT" --preset "$LINKWELL_PRESET" "${launcher[@]}" ||
        die "CMake could not configure the project" "The whole output is in build/configure.log."
}

# build TARGETS...
build()
{
    step "Building $*"
    cmake --build "$LINKWELL_BUILD_DIR" --target "$@" </dev/null || die "the build failed; see above"
}
