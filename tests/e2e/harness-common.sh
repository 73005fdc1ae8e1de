# Sourced by harness and wayland-harness once their options are read ($me,
# their name in messages, and $verbose set): the work folder, the teardown
# that ends every process started, waiting, the session bus, and the command.

work=$(mktemp -d "${TMPDIR:-/tmp}/tessly-$me.XXXXXX")
pids=()
log="$work/desktop.log"
[ $verbose = 1 ] && log=/dev/stderr

teardown() {
  local status=$?
  for ((i=${#pids[@]}-1; i>=0; i--)); do kill "${pids[$i]}" 2>/dev/null || true; done
  for pid in "${pids[@]}"; do wait "$pid" 2>/dev/null || true; done
  if [ $status -ne 0 ] && [ $verbose = 0 ] && [ -s "$work/desktop.log" ]; then
    echo "$me: desktop log follows" >&2; tail -n 40 "$work/desktop.log" >&2
  fi
  rm -rf "$work"
  exit $status
}
trap teardown EXIT
trap 'exit 130' INT TERM

# Waits up to $1 tenths of a second for the command in the rest of the arguments.
wait_for() {
  local tries=$1; shift
  for ((t=0; t<tries; t++)); do
    "$@" >/dev/null 2>&1 && return 0
    sleep 0.1
  done
  echo "$me: timed out waiting for: $*" >&2
  return 1
}

# Waits until the name $1 has an owner on the session bus.
wait_for_bus_name() {
  wait_for 100 sh -c "dbus-send --session --print-reply --dest=org.freedesktop.DBus / \
    org.freedesktop.DBus.NameHasOwner string:$1 | grep -q 'boolean true'"
}

# A session bus of our own.
start_session_bus() {
  dbus-daemon --session --nofork --nopidfile --address="unix:path=$work/bus" >>"$log" 2>&1 &
  pids+=($!)
  export DBUS_SESSION_BUS_ADDRESS="unix:path=$work/bus"
  wait_for 50 dbus-send --session --dest=org.freedesktop.DBus --print-reply / org.freedesktop.DBus.GetId
}

# Runs the command; its status is the harness's.
run_command() {
  export TESSLY_E2E=1
  set +e
  "$@"
  local status=$?
  set -e
  exit $status
}

mkdir -m 700 "$work/run"
export XDG_RUNTIME_DIR="$work/run"
export HOME="${TESSLY_TEST_HOME:-$work}"
mkdir -p "$HOME"
