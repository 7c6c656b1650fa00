# shellcheck shell=bash
# build.sh: configuring and building; to be sourced after common.sh. The preset is $LINKWELL_PRESET, or mingw-release.

LINKWELL_PRESET="${LINKWELL_PRESET:-mingw-release}"
LINKWELL_BUILD_DIR="$LINKWELL_BUILD/$LINKWELL_PRESET"
readonly LINKWELL_PRESET LINKWELL_BUILD_DIR

# configure [OPTIONS...]: configures the preset's folder below build.
configure()
{
    step "Configuring ${LINKWELL_BUILD_DIR#"$LINKWELL_ROOT"/}"
    run_logged "$LINKWELL_BUILD/configure.log" cmake -S "$LINKWELL_ROOT" --preset "$LINKWELL_PRESET" "$@" ||
        die "CMake could not configure the project" "The whole output is in build/configure.log."
}

# build TARGETS...
build()
{
    step "Building $*"
    cmake --build "$LINKWELL_BUILD_DIR" --target "$@" </dev/null || die "the build failed; see above"
}
