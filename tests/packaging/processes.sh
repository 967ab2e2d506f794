# Bounded waits on the processes the packaging tests start, sourced by them.
# Each process is started as a coprocess or in the background; the test's EXIT
# trap (stop_started) ends what is still running.

started=()

# Ends the started processes, the newest first, and waits for each.
stop_started() {
  local i
  for ((i = ${#started[@]} - 1; i >= 0; i--)); do
    kill "${started[i]}" 2>/dev/null || true
    wait "${started[i]}" 2>/dev/null || true
  done
}

# read_line FD SECONDS: one line from the file descriptor within the time, on standard output.
read_line() {
  local line
  if ! IFS= read -r -t "$2" -u "$1" line; then
    echo "no line within $2 s" >&2
    return 1
  fi
  printf '%s\n' "$line"
}

# gone PID SECONDS: succeeds once a process that is not this shell's child has ended, within the time.
gone() {
  local deadline=$((SECONDS + $2))
  while kill -0 "$1" 2>/dev/null; do
    ((SECONDS < deadline)) || return 1
    # A bounded wait on another process's exit, which no event of this shell reports.
    sleep 0.05
  done
}
