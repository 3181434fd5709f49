# shellcheck shell=sh
# Shows how far a long command is, on one line.

# Runs a command or a function. What it says goes to a file; of that, the steps
# of ninja, "[3/67]", and the percents of apt-get, "dlstatus:3:45.1:", tell how far
# it is. When it fails, shows the end of the file, names it, and fails as well:
#
#   with_progress TITLE FILE COMMAND ...
with_progress() {
    title=$1
    log=$2
    shift 2
    mkdir -p "${log%/*}"
    rm -f "$log.status"
    [ -t 1 ] || echo "$title ..."
    { "$@" </dev/null 2>&1 || echo $? >"$log.status"; } | show_steps "$title" 3>"$log"
    if [ -e "$log.status" ]; then
        [ ! -t 1 ] || echo
        tail -n 40 "$log"
        echo "$title failed; all of it is in $log" >&2
        failed_with=$(cat "$log.status")
        rm "$log.status"
        return "$failed_with"
    fi
    if [ -t 1 ]; then
        printf '\r%s: done\033[K\n' "$title"
    else
        echo "$title: done"
    fi
}

# Copies its input to the third file, and says on a terminal how far that is.
show_steps() {
    while IFS= read -r line; do
        printf '%s\n' "$line" >&3
        [ -t 1 ] || continue
        case $line in
        "["*/*"]"*)
            steps=${line%%]*}
            printf '\r%s: %s\033[K' "$1" "${steps#?}"
            ;;
        dlstatus:* | pmstatus:*)
            percent=${line#*:*:}
            work=unpacked
            [ "${line%%:*}" = pmstatus ] || work=fetched
            printf '\r%s: %s %% %s\033[K' "$1" "${percent%%[!0-9]*}" "$work"
            ;;
        esac
    done
}
