# The dashboard panel under the tray icon: a tab with nothing in it (the
# documents tab before the account has one), each tab with its rows (a
# document seeded for the documents tab), the "Link copied" toast, the upload
# strip uploading and failed (a record left on disk by a killed app), a file
# dragged over it from another window, the record tile as "Stop" while a
# recording runs, and signed out.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

files=$(mktemp -d)
app=""
source=""
saved_token=$(grep '^token=' "$ini")
finish() {
  [ -n "$app" ] && kill -9 $app 2>/dev/null
  faults '{"faults":"off"}' || true
  rm -f "$XDG_DATA_HOME"/*/MultipartUploads/*.plist
  grep -q '^token=' "$ini" || sed -i "/^\[General\]/a $saved_token" "$ini"
  [ -n "$source" ] && { kill $source 2>/dev/null || true; }
  setting selectedMenuSegment 0
  sed -i '/^kStartDelayKey=/d' "$ini"
  rm -rf "$files"
}
trap finish EXIT
seed_items

start_app() {
  "$TESSLY" >/dev/null 2>&1 &
  app=$!
  for _ in $(seq 50); do xdotool search --class trayer >/dev/null 2>&1 && break; sleep 0.1; done
  sleep 2
}
# One of the running app's actions by name (a `tessly --action` run with no
# app to take it would start one).
action() {
  kill -0 $app 2>/dev/null || { echo "dashboard: the app has ended" >&2; return 1; }
  timeout 10 "$TESSLY" --action "$1"
}
panel_window() { xdotool search --onlyvisible --name '^Tessly Cloud$' 2>/dev/null | head -n1; }
open_panel() {
  if [ -n "$(panel_window)" ]; then xdotool key Escape; sleep 0.3; fi
  tray_click 1
  sleep 1.5 # the list and the thumbnails arrive from the service on loopback
}
shot_panel() {
  local id
  id=$(panel_window)
  [ -n "$id" ] || { echo "dashboard: no panel open" >&2; return 1; }
  shot_around "$1" "$id"
}

start_app
# A tab whose answer is an empty list: the documents tab while the account has
# no document. Then a document (text/markdown) for it, once per look.
if [ ! -e "$SERVER_DATA/.gallery-document" ]; then
  setting selectedMenuSegment 2
  open_panel
  shot_panel tab-empty
  printf '# Release notes\n\nWhat changed in 2.4.\n' >"$files/Release notes for the November desktop update.md"
  "$TESSLY" upload "$files/Release notes for the November desktop update.md" >/dev/null
  touch "$SERVER_DATA/.gallery-document"
fi
for tab in "0 files" "1 folders" "2 documents" "3 links"; do
  set -- $tab
  setting selectedMenuSegment "$1"
  open_panel
  shot_panel "tab-$2"
done

# A row selected from the keyboard and its link copied.
setting selectedMenuSegment 0
open_panel
xdotool key Down Down ctrl+c
sleep 0.4
shot_panel toast

# A large upload handed to the running app while the store holds its parts.
faults '{"faults":"put.stall=1,stall-ms=30000,put.only=parts"}'
head -c 60000000 /dev/urandom >"$files/Screen Recording 2026-11-23.mov"
"$TESSLY" share "$files/Screen Recording 2026-11-23.mov" >/dev/null 2>&1 || true
for _ in $(seq 100); do ls "$XDG_DATA_HOME"/*/MultipartUploads/*.plist >/dev/null 2>&1 && break; sleep 0.1; done
open_panel
sleep 1
shot_panel uploading

# The app killed in the middle: its record offers retry at the next start.
kill -9 $app 2>/dev/null || true
wait $app 2>/dev/null || true
faults '{"faults":"off"}'
start_app
open_panel
shot_panel upload-failed
xdotool key Escape
kill $app 2>/dev/null || true
wait $app 2>/dev/null || true
rm -f "$XDG_DATA_HOME"/*/MultipartUploads/*.plist

# A file dragged from another application's window onto the open panel and
# held there; the drop uploads it.
start_app
printf 'Minutes of the design review\n' >"$files/Design review minutes.txt"
"$BUILD/gallery/tessly-appgallery" dragsource "$files/Design review minutes.txt" >/dev/null 2>&1 &
source=$!
source_window=$(wait_for_window Files)
open_panel
eval "$(xdotool getwindowgeometry --shell "$source_window")"
xdotool mousemove $((X + WIDTH / 2)) $((Y + HEIGHT / 2)) mousedown 1 sleep 0.3 mousemove $((X + WIDTH / 2 + 40)) $((Y + HEIGHT / 2))
eval "$(xdotool getwindowgeometry --shell "$(panel_window)")"
# (The pointer and the dragged icon below the pad's text.)
xdotool mousemove $((X + WIDTH / 2 - 40)) $((Y + HEIGHT - 110 * HEIGHT / 580)) sleep 0.3 \
  mousemove $((X + WIDTH / 2)) $((Y + HEIGHT - 110 * HEIGHT / 580))
sleep 0.5
shot_panel drag-over
xdotool mouseup 1
sleep 0.5
# The panel stays open after the drop, without the focus.
[ -z "$(panel_window)" ] || action togglePopover
kill $source 2>/dev/null || true
wait $source 2>/dev/null || true
source=""

# Recording: the panel opened from its action while the tray icon is the stop
# control. The area is narrowed first so that its outline stays clear of the
# panel; the capture controls stay at the bottom centre.
setting kStartDelayKey 0
action recordScreen
sleep 1.5
read -r screen_w screen_h < <(xdpyinfo | sed -n 's/ *dimensions: *\([0-9]*\)x\([0-9]*\).*/\1 \2/p')
at() { echo $(($1 * screen_w / 1280)) $(($2 * screen_h / 800)); } # a point on a 1280x800 screen
xdotool mousemove $(at 940 400) mousedown 1 sleep 0.2 mousemove $(at 840 400) sleep 0.2 mousemove $(at 740 400) \
  sleep 0.2 mouseup 1
sleep 0.5
xdotool mousemove $(at 791 766) click 1
for _ in $(seq 50); do pgrep -P $app ffmpeg >/dev/null && break; sleep 0.1; done
sleep 1
action togglePopover
sleep 1.5
shot_panel recording
action stopRecording
xdotool key Escape
kill $app 2>/dev/null || true
wait $app 2>/dev/null || true

# Signed out.
sed -i '/^token=/d' "$ini"
start_app
open_panel
shot_panel signed-out
