# shellcheck shell=bash
# full.sh: the parts of "scripts/test --full"; to be sourced after common.sh.
#
# Each part leaves in build/full what it has printed (PART.log) and how it went (PART.json). The tests leave their rows of
# tables in the build folder (linkwell_add_full_tests).

readonly FULL_PARTS=(suite sweep fuzz long hardened coverage)
readonly FULL_FOLDER="$LINKWELL_BUILD/full"

# full_commands PART: its commands, one a line, each behind its preset. Each says in its last line how many have passed and failed.
full_commands()
{
    case $1 in
        suite) printf '%s\n' "mingw-release scripts/test" ;;
        hardened) printf '%s scripts/test\n' mingw-hardened clang-release ;;
        coverage) printf '%s\n' "mingw-coverage scripts/coverage" ;;
        *) printf '%s\n' "mingw-release scripts/test -C Full -L ^full-$1\$" ;;
    esac
}

# run_full_part PART: adds its counts to full_passed and full_failed.
run_full_part()
{
    local part="$1" preset command begun counts passed=0 failed=0 not_run=0 started="$SECONDS"
    local log="$FULL_FOLDER/$part.log" figures="$LINKWELL_BUILD_DIR/full/$part/part.jsonl"
    rm -rf -- "$FULL_FOLDER/$part".* "${figures%/*}"
    mkdir -p "$FULL_FOLDER" "${figures%/*}"
    while read -r preset command <&3; do
        step "$part: LINKWELL_PRESET=$preset $command"
        begun="$SECONDS"
        # shellcheck disable=SC2086 # words
        (
            cd -- "$LINKWELL_ROOT"
            unset LINKWELL_FIGURES # each test has its own
            [[ $part != coverage ]] || export LINKWELL_FIGURES="$figures"
            env LINKWELL_PRESET="$preset" $command </dev/null 2>&1
        ) | tee -- "$log.now" || true
        cat -- "$log.now" >>"$log"
        counts=(0 1) # it has not come to its tests
        [[ $(tail -n 1 -- "$log.now") =~ ^([0-9]+)\ passed,\ ([0-9]+)\ failed$ ]] && counts=("${BASH_REMATCH[@]:1}")
        counts+=("$(sed -n 's/^ *\([0-9]*\) not run$/\1/p' "$log.now" | tail -n 1)")
        rm -- "$log.now"
        passed=$((passed + counts[0])) failed=$((failed + counts[1])) not_run=$((not_run + counts[2]))
        if [[ $part == hardened ]]; then
            printf '{"table":"hardened builds","row":{"Preset":"%s","Passed":%d,"Failed":%d,"Not run":%d,"Seconds, with building":%d}}\n' \
                "$preset" "${counts[@]}" "$((SECONDS - begun))" >>"$figures"
        fi
    done 3< <(full_commands "$part")
    printf '{"part":"%s","passed":%d,"failed":%d,"notRun":%d,"seconds":%d,"commit":"%s","date":"%s"}\n' \
        "$part" "$passed" "$failed" "$not_run" "$((SECONDS - started))" \
        "$(git -C "$LINKWELL_ROOT" describe --always --dirty 2>/dev/null)" "$(date -u +%F)" >"$FULL_FOLDER/$part.json"
    full_passed=$((full_passed + passed)) full_failed=$((full_failed + failed))
}

# run_full [--write] [PART...]: these parts, or all; ends the script.
run_full()
{
    local write=() parts=() part summary=()
    full_passed=0 full_failed=0
    for part in "$@"; do
        if [[ $part == --write ]]; then
            write=(--write)
        elif [[ " ${FULL_PARTS[*]} tables " == *" $part "* ]]; then
            parts+=("$part")
        else
            (die "--full has no part \"$part\"" "There are: ${FULL_PARTS[*]}, and tables, which runs nothing") || exit 2
        fi
    done
    [[ $LINKWELL_PRESET == mingw-release ]] || die "LINKWELL_PRESET=$LINKWELL_PRESET: --full begins with mingw-release, and builds the others by itself"
    [[ ${#parts[@]} -gt 0 ]] || parts=("${FULL_PARTS[@]}")
    take_turn
    for part in "${parts[@]}"; do
        [[ $part == tables ]] && continue
        local passed_before="$full_passed" failed_before="$full_failed"
        run_full_part "$part"
        summary+=("$part: $((full_passed - passed_before)) passed, $((full_failed - failed_before)) failed")
    done
    step "Tables of what the last run of each part has found"
    node "$LINKWELL_ROOT/scripts/lib/full/tables.js" "${write[@]}" || full_failed=$((full_failed + 1))
    step "Done"
    for part in "${summary[@]}"; do
        note "$part"
    done
    printf '%d passed, %d failed\n' "$full_passed" "$full_failed"
    [[ $full_failed -eq 0 ]]
    exit
}
