# The tray's status menu: signed in with each segment's list, signed out, and
# the upload row failed (a record left on disk), uploading and paused.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

ini="$XDG_CONFIG_HOME/tessly/tessly.ini"
token=$(sed -n 's/^token=//p' "$ini")
api=${TESSLY_API_URL%/}
base=${api%/v1}
files=$(mktemp -d)
app=""
trap '[ -n "$app" ] && kill $app 2>/dev/null; rm -rf "$files"' EXIT

faults() {
  curl -fsS -o /dev/null -X PUT -H "Authorization: Bearer $ADMIN_TOKEN" -H 'Content-Type: application/json' \
    -d "$1" "$base/admin/faults"
}
post() { curl -fsS -o /dev/null -H "Authorization: Bearer $token" -H 'Content-Type: application/json' -d "$2" "$api/$1"; }
setting() { # KEY VALUE: written the way the settings store keeps it
  if grep -q "^$1=" "$ini"; then sed -i "s|^$1=.*|$1=$2|" "$ini"; else sed -i "/^\[General\]/a $1=$2" "$ini"; fi
}

# Items of each kind, the newest first in the lists.
head -c 180000 /dev/urandom >"$files/Quarterly report for the board meeting with all appendices and notes (final, v3).pdf"
head -c 2400000 /dev/urandom >"$files/holiday.mov"
convert -size 64x48 gradient:'#4a90d9-#9fd3ff' "$files/Screen Shot 2026-11-23 at 10-14-03.png"
printf 'notes\n' >"$files/notes.txt"
for f in "$files"/*; do "$TESSLY" upload "$f" >/dev/null; done
post folders/demo '{"payload":{"name":"Design reviews"}}'
post folders/demo '{"payload":{"name":"Holiday 2026"}}'
post links/demo '{"payload":{"content":"https://www.example.com/articles/2026/11/how-we-ship-desktop-apps-on-linux"}}'
post links/demo '{"payload":{"content":"https://tessly.cloud/pricing"}}'

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
