# The tray's status menu: signed in with each segment's list, signed out, and
# the upload row failed (a record left on disk), uploading and paused.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

files=$(mktemp -d)
app=""
trap '[ -n "$app" ] && kill $app 2>/dev/null; rm -rf "$files"' EXIT

seed_items

# The tray icon is the only one in trayer, whose width follows its icons.
tray_click() {
  local tray
  tray=$(xdotool search --onlyvisible --class trayer | tail -n1)
  eval "$(xdotool getwindowgeometry --shell "$tray")"
  xdotool mousemove $((X + WIDTH / 2)) $((Y + HEIGHT / 2)) click 3
}
menu_window() { # the largest visible window of the app: the open menu
  local best="" area=0 id
  for id in $(xdotool search --onlyvisible --class tessly 2>/dev/null); do
    eval "$(xdotool getwindowgeometry --shell "$id")"
    if [ $((WIDTH * HEIGHT)) -gt $area ]; then area=$((WIDTH * HEIGHT)); best=$id; fi
  done
  echo "$best"
}
open_menu() {
  xdotool key Escape 2>/dev/null || true
  sleep 0.3
  tray_click
  sleep 1.5 # the list arrives from the service on loopback
}
shot_menu() {
  local id
  id=$(menu_window)
  [ -n "$id" ] || { echo "statusmenu: no menu open" >&2; return 1; }
  eval "$(xdotool getwindowgeometry --shell "$id")"
  # The menu with a margin of desktop around it, so its shadow and edge show.
  import -window root -crop $((WIDTH + 40))x$((HEIGHT + 40))+$((X - 20))+$((Y - 20)) +repage \
    "$GALLERY_OUT/$GALLERY_PIECE-$1-$GALLERY_LOOK.png"
}

"$TESSLY" >/dev/null 2>&1 &
app=$!
for _ in $(seq 50); do xdotool search --class trayer >/dev/null 2>&1 && break; sleep 0.1; done
sleep 2

for segment in "0 files" "2 folders" "3 links"; do
  set -- $segment
  setting selectedMenuSegment "$1"
  open_menu
  shot_menu "signed-in-$2"
done
setting selectedMenuSegment 0

# A large upload interrupted while its parts are held at the store leaves its
# record on disk: the row offers retry.
faults '{"faults":"put.stall=1,stall-ms=4000,put.only=parts"}'
head -c 60000000 /dev/urandom >"$files/Screen Recording 2026-11-23.mov"
"$TESSLY" upload "$files/Screen Recording 2026-11-23.mov" >/dev/null 2>&1 &
uploader=$!
for _ in $(seq 100); do ls "$XDG_DATA_HOME"/*/MultipartUploads/*.plist >/dev/null 2>&1 && break; sleep 0.1; done
sleep 1
kill -9 $uploader 2>/dev/null || true
wait $uploader 2>/dev/null || true
open_menu
shot_menu upload-failed

# Retry resumes it in the tray (parts still held, so it keeps running).
id=$(menu_window)
eval "$(xdotool getwindowgeometry --shell "$id")"
scale=1; [ "${QT_SCALE_FACTOR:-1}" = 2 ] && scale=2
row_y=$((Y + 24 * scale))
xdotool mousemove $((X + WIDTH - 46 * scale)) $row_y click 1
sleep 3
shot_menu upload-running
# Pause takes the place of retry.
xdotool mousemove $((X + WIDTH - 46 * scale)) $row_y click 1
sleep 1
shot_menu upload-paused

# Signed out.
xdotool key Escape
faults '{"faults":"off"}'
sed -i '/^token=/d' "$ini"
open_menu
shot_menu signed-out
xdotool key Escape
