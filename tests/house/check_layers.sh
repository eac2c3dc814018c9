#!/usr/bin/env bash
# Who may know whom, and who alone may do what, in the sources of the libraries and the applications.
#
# usage: check_layers.sh ROOT           checks the sources below ROOT
#        check_layers.sh --self-test    checks that each rule can fail
set -euo pipefail

# Families of classes, from the ground up. The members of a family know one another; a new class gets its
# place here before it gets a user.
declare -A members=(
    [utilities]="vorn_utilities vorn_planted_bugs"
    [sqlite]="vorn_sqlite_writer_line vorn_sqlite_database vorn_sqlite_connection vorn_sqlite_connections vorn_sqlite_transaction
        vorn_sqlite_silence"
    [floor]="vorn_sync_types vorn_sync_log vorn_sync_times vorn_sync_files vorn_sync_stat vorn_sync_local_siblings
        vorn_sync_thread"
    [task]="vorn_sync_task"
    [worker]="vorn_sync_worker"
    [database]="vorn_sync_database vorn_sync_directories vorn_sync_file_states vorn_sync_row_repairs vorn_sync_counters
        vorn_sync_error_revision vorn_sync_schema_objects vorn_sync_distant_marks vorn_sync_status_counts
        vorn_sync_row_changes vorn_sync_file_comparison vorn_sync_file_rows vorn_sync_packed_rows vorn_sync_row_cache vorn_sync_migration vorn_sync_progress_notes"
    [observer]="vorn_sync_observer"
    [engine]="vorn_sync_synchronizer vorn_sync_open_directory vorn_sync_pass vorn_sync_directory_listing vorn_sync_file_decision
        vorn_sync_exclusions vorn_sync_flight_table vorn_sync_observations vorn_sync_path_cache
        vorn_sync_rename_locks vorn_sync_verify_queue vorn_sync_side_car_deferrals vorn_sync_task_results
        vorn_sync_verification vorn_sync_error_resolution vorn_sync_name_table vorn_sync_large_vector vorn_sync_pass_report
        vorn_sync_verify_rounds vorn_sync_verifier vorn_sync_dispatcher vorn_sync_file_start vorn_sync_trash"
    # The private object emits the facade's signals, so the two know each other.
    [manager]="vorn_sync_manager_p vorn_sync_queued_calls vorn_sync_mailbox vorn_sync_error_list vorn_sync_manager vorn_sync_file_ready"
)
declare -A may_know=(
    [utilities]=""
    [sqlite]="vorn_sqlite_writer_line utilities"
    [floor]="utilities"
    [task]="utilities floor"
    [worker]="utilities floor task"
    [database]="utilities sqlite floor"
    [observer]="utilities floor"
    # Neither the worker nor the manager: it only emits. Of SQLite it knows how to make several methods of the
    # database one transaction.
    [engine]="utilities sqlite floor task database"
    [manager]="utilities floor task worker database observer engine"
)
declare -A family_of
for family in "${!members[@]}"; do
    for member in ${members[$family]}; do
        family_of[$member]=$family
    done
done

sql='\b(SELECT|INSERT( OR [A-Z]+)? INTO|DELETE FROM|UPDATE [a-z_]+ SET|(CREATE|DROP|ALTER) (TABLE|INDEX|TRIGGER|VIEW)|PRAGMA|BEGIN IMMEDIATE|COMMIT|ROLLBACK)\b|QSql'
sql_classes="${members[sqlite]} ${members[database]}"
app_sql_classes='vorn_cli_state_reader'
channels='\b(qDebug|qCritical|qInfo|qCDebug|qCCritical|qCInfo)\b|\[-- SYNC --\]'
log_classes='vorn_sync_log'
copies='QFile::copy|[.>]copy\(|filesystem::copy'
copy_classes='vorn_sync_task'
# QFile::rename copies and unlinks on an I/O error; VornSyncFiles::rename never does.
renames='QFile::rename|QDir::rename|QFile\([^)]*\)\.rename|QDir\([^)]*\)\.rename'
# All sources are written so that each Qt understands them; what can't be asks in one header.
qt_versions='\bQT_VERSION(_MAJOR|_MINOR|_CHECK)?\b'
qt_version_classes='qt_compat'

violations=0
violation() { printf '%s\n' "$*"; violations=$((violations + 1)); }


# reserved FILE CLASS PATTERN CLASSES WHAT: lines that match PATTERN belong in CLASSES alone.
reserved() {
    local file=$1 class=$2 pattern=$3 what=$5 line
    local -a classes
    read -r -d '' -a classes <<<"$4" || true
    [[ " ${classes[*]} " == *" $class "* ]] && return
    while IFS= read -r line; do
        violation "$file:${line%%:*}: $what: ${line#*:}"
    done < <(without_comments_numbered "$file" | grep -E "^[0-9]+:.*($pattern)")
}
without_comments_numbered() { sed -E 's://.*$::; s:^[[:space:]]*(/\*|\*).*$::' "$1" | grep -n ''; }

check_includes() {
    local file=$1 class=$2 line included family included_family
    family=${family_of[$class]:-}
    if [ -z "$family" ]; then
        violation "$file: class '$class' has no family in check_layers.sh"
        return
    fi
    while IFS=: read -r line included; do
        included_family=${family_of[$included]:-none}
        [[ " ${may_know[$family]} $family " == *" $included_family "* ]] ||
            violation "$file:$line: $class ($family) must not know $included ($included_family)"
    done < <(sed -nE '/^[[:space:]]*#[[:space:]]*include[[:space:]]*["<](.*\/)?vorn_/{=;s/.*vorn_([a-z0-9_]+)\.h.*/vorn_\1/p}' "$file" |
        paste -d: - -)
}

check_tree() {
    local root=$1 file class
    local found=0
    while IFS= read -r file; do
        found=1
        class=$(basename "$file")
        class=${class%.*}
        check_includes "$file" "$class"
        reserved "$file" "$class" "$sql" "$sql_classes" "SQL outside the database classes"
        reserved "$file" "$class" "$channels" "$log_classes" "written past the log"
        reserved "$file" "$class" "$copies" "$copy_classes" "a copy outside the task"
        reserved "$file" "$class" "$renames" "" "a rename that may copy"
    done < <(find "$root/libraries" \( -name '*.h' -o -name '*.cpp' \) | sort)
    [ "$found" -eq 1 ] || violation "$root: no sources found"
    # Applications are hosts: the public header is all of the library they know.
    if [ -d "$root/apps" ]; then
        while IFS= read -r file; do
            violation "$file: an application knows the public header alone"
        done < <(find "$root/libraries" -name '*.h' ! -name vorn_sync_manager.h -printf '%f\n' |
            sed 's/.*/["<]&[">]/' >"$patterns"; grep -rnE -f "$patterns" "$root/apps" --include='*.h' --include='*.cpp' |
            grep '#include')
        while IFS= read -r file; do
            class=$(basename "$file")
            reserved "$file" "${class%.*}" "$sql" "$app_sql_classes" "SQL outside the reader of the state"
        done < <(find "$root/apps" \( -name '*.h' -o -name '*.cpp' \) | sort)
    fi
    while IFS= read -r file; do
        class=$(basename "$file")
        reserved "$file" "${class%.*}" "$qt_versions" "$qt_version_classes" "asks which Qt this is"
    done < <(grep -rlE "$qt_versions" "$root"/{libraries,apps,tests,benchmarks} --include='*.h' --include='*.cpp' 2>/dev/null | sort)
}

patterns=$(mktemp)
trap 'rm -f "$patterns"' EXIT

expect_violation() {
    local name=$1 path=$2 text=$3 found
    local tree
    tree=$(mktemp -d)
    mkdir -p "$tree/libraries/lib_utilities/source" "$tree/libraries/lib_sync_library/source" "$tree/apps/vorn_sync" \
        "$tree/tests/support"
    printf '#pragma once\n' >"$tree/libraries/lib_sync_library/source/vorn_sync_manager_p.h"
    printf '%s\n' "$text" >"$tree/$path"
    found=$(violations=0; check_tree "$tree" >/dev/null; printf '%s' "$violations")
    rm -rf "$tree"
    if [ "$found" -ne "$4" ]; then
        printf 'FAIL: %s: %s violations, expected %s\n' "$name" "$found" "$4"
        exit 1
    fi
}

if [ "${1:-}" = --self-test ]; then
    lib=libraries/lib_sync_library/source
    expect_violation "an upward include" $lib/vorn_sync_task.h '#include "vorn_sync_worker.h"' 1
    expect_violation "an upward include by path" $lib/vorn_sync_observer.cpp '# include <source/vorn_sync_manager_p.h>' 1
    expect_violation "the synchronizer knows the worker" $lib/vorn_sync_synchronizer.cpp '#include "vorn_sync_worker.h"' 1
    expect_violation "utilities know the library" libraries/lib_utilities/source/vorn_utilities.cpp '#include "vorn_sync_log.h"' 1
    expect_violation "a class without a family" $lib/vorn_sync_novelty.cpp '' 1
    expect_violation "SQL" $lib/vorn_sync_task.cpp 'q(QStringLiteral("DELETE FROM file_tracking"));' 1
    expect_violation "Qt SQL" $lib/vorn_sync_task.cpp '#include <QSqlQuery>' 1
    expect_violation "qDebug" $lib/vorn_sync_task.cpp '    qDebug() << 1;' 1
    expect_violation "a prefix" $lib/vorn_sync_worker.cpp 'QStringLiteral("[-- SYNC --]: Wrkr")' 1
    expect_violation "a copy" $lib/vorn_sync_worker.cpp 'QFile::copy(a, b);' 1
    expect_violation "a rename" $lib/vorn_sync_task.cpp 'QFile::rename(a, b);' 1
    expect_violation "an inside header in an application" apps/vorn_sync/main.cpp '#include "vorn_sync_manager_p.h"' 1
    expect_violation "SQL in an application" apps/vorn_sync/main.cpp '#include <QSqlQuery>' 1
    expect_violation "SQL in its place in an application" apps/vorn_sync/vorn_cli_state_reader.cpp '#include <QSqlQuery>' 0
    expect_violation "a Qt version" $lib/vorn_sync_task.cpp '#if QT_VERSION >= QT_VERSION_CHECK(6, 0, 0)' 1
    expect_violation "a Qt version in a test" tests/support/pair.cpp '#if QT_VERSION_MAJOR == 6' 1
    expect_violation "a Qt version in its place" tests/support/qt_compat.h '#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)' 0
    expect_violation "a downward include" $lib/vorn_sync_worker.cpp '#include "vorn_sync_task.h"' 0
    expect_violation "a comment" $lib/vorn_sync_task.cpp '// like SELECT, QFile::rename or qDebug()' 0
    expect_violation "SQL in its place" $lib/vorn_sync_database.cpp 'q("SELECT 1"); // all of it' 0
    expect_violation "a copy in its place" $lib/vorn_sync_task.cpp 'QFile::copy(a, b);' 0
    printf 'PASS: each rule can fail\n'
    exit 0
fi

check_tree "${1:?usage: check_layers.sh ROOT | --self-test}"
if [ "$violations" -ne 0 ]; then
    printf 'FAIL: %s violations\n' "$violations"
    exit 1
fi
printf 'PASS: every include points downward, and SQL, log channels, copies, renames and Qt versions are where they belong\n'
