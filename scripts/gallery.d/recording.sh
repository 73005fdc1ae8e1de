# Screen recording: framing on the capture panel (window-select, the presets
# and options menus, the options with GIF chosen, the countdown), the
# controls while recording, and the webcam bubble in its three sizes. Then the application itself recording:
# the tray icon as the stop control, and the message when ffmpeg dies.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"
helper="$BUILD/gallery/tessly-recordinggallery"

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

kill $window 2>/dev/null || true
wait $window 2>/dev/null || true

# The application records for real (ffmpeg grabbing the screen) from its
# "Record" action, with no countdown. Its capture panel covers the screen;
# the helper says where on such a panel the Record button is.
read -r record_x record_y < <("$helper" record-button 2>/dev/null)
[ -n "$record_y" ] || { echo "recording: the helper did not find the Record button" >&2; exit 1; }
read -r screen_w screen_h < <(xdotool getdisplaygeometry)
app=""
finish() {
  if [ -n "$app" ]; then
    kill $app 2>/dev/null || true
    wait $app 2>/dev/null || true
  fi
  sed -i '/^kStartDelayKey=/d' "$ini"
}
trap finish EXIT
setting kStartDelayKey 0
"$TESSLY" >/dev/null 2>&1 &
app=$!
for _ in $(seq 50); do xdotool search --class trayer >/dev/null 2>&1 && break; sleep 0.1; done
sleep 2
timeout 10 "$TESSLY" --action recordScreen
panel=$(wait_for_window "Tessly Cloud Recording Area")
sleep 1
eval "$(xdotool getwindowgeometry --shell "$panel")"
xdotool mousemove $((X + record_x)) $((Y + record_y)) click 1
ffmpeg=""
for _ in $(seq 50); do ffmpeg=$(pgrep -P $app ffmpeg) && break; sleep 0.1; done
[ -n "$ffmpeg" ] || { echo "recording: the recording did not start" >&2; exit 1; }
xdotool mousemove $((screen_w / 2)) $((screen_h / 3)) # off the tray, no hover
sleep 1.5
# The panels' corner: the top right.
corner() {
  local w=$((screen_w / 3)) h=$((screen_h / 4))
  import -window root -crop "${w}x${h}+$((screen_w - w))+0" +repage "$GALLERY_OUT/$GALLERY_PIECE-$1-$GALLERY_LOOK.png"
}
corner tray-stop
shot app-recording

# ffmpeg killed mid-recording: the movie cannot be finished, and the
# application says so below the tray icon. The picture runs from the
# message's left edge to the screen's right and down to its bottom edge.
kill -9 $ffmpeg
message=$(wait_for_window "Tessly Cloud")
sleep 0.5
eval "$(xdotool getwindowgeometry --shell "$message")"
left=$((X > 20 ? X - 20 : 0))
import -window root -crop "$((screen_w - left))x$((Y + HEIGHT + 20))+$left+0" +repage \
  "$GALLERY_OUT/$GALLERY_PIECE-failed-$GALLERY_LOOK.png"
