# Screen recording: framing on the capture panel (window-select, the presets
# and options menus, the options with GIF chosen, the countdown), the controls while recording, and the
# webcam bubble in its three sizes.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"
helper="$BUILD/tests/capture/tessly-recordinggallery"

show() {
  local name=$1 out
  shift
  out=$(mktemp)
  "$helper" "$@" >"$out" 2>/dev/null &
  local pid=$!
  for _ in $(seq 100); do grep -q ready "$out" && break; sleep 0.1; done
  rm -f "$out"
  shot "$name"
  kill $pid 2>/dev/null || true
  wait $pid 2>/dev/null || true
}

"$helper" window >/dev/null 2>&1 &
window=$!
trap 'kill $window 2>/dev/null; wait $window 2>/dev/null || true' EXIT
wait_for_window Editor >/dev/null
sleep 0.5

show framing framing
show windowselect windowselect
show presets presets
show options options
show gif gif
show countdown countdown
show recording recording
show webcam-small webcam 8
show webcam-medium webcam 9
show webcam-large webcam 10
