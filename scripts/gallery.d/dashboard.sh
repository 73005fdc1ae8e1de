# The dashboard panel under the tray icon: each tab with its rows (a
# document seeded for the documents tab), the "Link copied" toast, the upload
# strip uploading and failed (a record left on disk by a killed app), and
# signed out.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

files=$(mktemp -d)
app=""
saved_token=$(grep '^token=' "$ini")
finish() {
  [ -n "$app" ] && kill -9 $app 2>/dev/null
  faults '{"faults":"off"}' || true
  rm -f "$XDG_DATA_HOME"/*/MultipartUploads/*.plist
  grep -q '^token=' "$ini" || sed -i "/^\[General\]/a $saved_token" "$ini"
  setting selectedMenuSegment 0
  rm -rf "$files"
}
trap finish EXIT
seed_items
# A document for the documents tab (text/markdown), once per look.
if [ ! -e "$SERVER_DATA/.gallery-document" ]; then
  printf '# Release notes\n\nWhat changed in 2.4.\n' >"$files/Release notes for the November desktop update.md"
  "$TESSLY" upload "$files/Release notes for the November desktop update.md" >/dev/null
  touch "$SERVER_DATA/.gallery-document"
fi

start_app() {
  "$TESSLY" >/dev/null 2>&1 &
  app=$!
  for _ in $(seq 50); do xdotool search --class trayer >/dev/null 2>&1 && break; sleep 0.1; done
  sleep 2
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

# Signed out.
sed -i '/^token=/d' "$ini"
start_app
open_panel
shot_panel signed-out
