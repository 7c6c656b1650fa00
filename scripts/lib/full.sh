# shellcheck shell=bash
# full.sh: the parts of "scripts/test --full"; to be sourced after common.sh.
#
# Each part leaves in build/full what it has printed (PART.log) and how it went (PART.json). The tests leave their rows of
# tables in the build folder (linkwell_add_full_tests).

readonly FULL_PARTS=(suite sweep fuzz long)
readonly FULL_FOLDER="$LINKWELL_BUILD/full"

# full_command PART: its commands, one a line. Each says in its last line how many have passed and failed.
full_command()
{
    case $1 in
        suite) printf '%s\n' "scripts/test" ;;
        *) printf '%s\n' "scripts/test -C Full -L ^full-$1\$" ;;
    esac
}

# run_full_part PART: gives status 1 unless all in it have passed, and there was something.
run_full_part()
{
    local part="$1" log="$FULL_FOLDER/$1.log" started="$SECONDS" passed=0 failed=0 not_run=0 commands command last
    rm -rf -- "$FULL_FOLDER/$part.json" "$LINKWELL_BUILD_DIR/full/$part"
    mkdir -p "$LINKWELL_BUILD_DIR/full/$part"
    : >"$log"
    mapfile -t commands < <(full_command "$part")
    for command in "${commands[@]}"; do
        step "$part: $command"
        # shellcheck disable=SC2086 # words
        (cd -- "$LINKWELL_ROOT" && env LINKWELL_RUN_SECONDS=86400 $command </dev/null) 2>&1 | tee -a -- "$log" || true
        last="$(tail -n 1 -- "$log")"
        if [[ $last =~ ^([0-9]+)\ passed,\ ([0-9]+)\ failed$ ]]; then
            passed=$((passed + BASH_REMATCH[1])) failed=$((failed + BASH_REMATCH[2]))
        else
            failed=$((failed + 1)) # it has not come to its tests
        fi
    done
    not_run="$(awk '/^ *[0-9]+ not run$/ { sum += $1 } END { print sum + 0 }' "$log")"
    printf '{"part":"%s","passed":%d,"failed":%d,"notRun":%d,"seconds":%d,"commit":"%s","date":"%s"}\n' \
        "$part" "$passed" "$failed" "$not_run" "$((SECONDS - started))" \
        "$(git -C "$LINKWELL_ROOT" describe --always --dirty)" "$(date -u +%F)" >"$FULL_FOLDER/$part.json"
    full_passed=$((full_passed + passed)) full_failed=$((full_failed + failed))
    [[ $failed -eq 0 && $passed -gt 0 ]]
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
    [[ ${#parts[@]} -gt 0 ]] || parts=("${FULL_PARTS[@]}")
    take_turn
    mkdir -p "$FULL_FOLDER"
    for part in "${parts[@]}"; do
        [[ $part == tables ]] && continue
        local passed_before="$full_passed" failed_before="$full_failed"
        run_full_part "$part" || true
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
