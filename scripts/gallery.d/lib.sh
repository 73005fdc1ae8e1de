# Helpers for gallery pieces; source it from a piece in scripts/gallery.d.

# shot STATE [WINDOW-ID]: a PNG of the whole screen, or of one window with its
# frame, as $GALLERY_OUT/<piece>-STATE-<look>.png.
shot() {
  local file="$GALLERY_OUT/$GALLERY_PIECE-$1-$GALLERY_LOOK.png"
  if [ -n "${2:-}" ]; then
    import -window "$2" -frame "$file"
  else
    import -window root "$file"
  fi
}

# wait_for_window NAME: the id of the first visible window whose title is
# NAME, waiting up to ten seconds.
wait_for_window() {
  local id
  for _ in $(seq 100); do
    id=$(xdotool search --onlyvisible --name "^$1\$" 2>/dev/null | head -n1) && [ -n "$id" ] && { echo "$id"; return 0; }
    sleep 0.1
  done
  echo "gallery: no window named '$1'" >&2
  return 1
}

# The signed-in demo account's settings and the service behind it.
ini="$XDG_CONFIG_HOME/tessly/tessly.ini"
api=${TESSLY_API_URL%/}
base=${api%/v1}

faults() { # LIST as JSON: the service's fault injection
  curl -fsS -o /dev/null -X PUT -H "Authorization: Bearer $ADMIN_TOKEN" -H 'Content-Type: application/json' \
    -d "$1" "$base/admin/faults"
}
post() { # PATH JSON: an API call as the demo account
  local token
  token=$(sed -n 's/^token=//p' "$ini")
  curl -fsS -o /dev/null -H "Authorization: Bearer $token" -H 'Content-Type: application/json' -d "$2" "$api/$1"
}
setting() { # KEY VALUE: written the way the settings store keeps it
  if grep -q "^$1=" "$ini"; then sed -i "s|^$1=.*|$1=$2|" "$ini"; else sed -i "/^\[General\]/a $1=$2" "$ini"; fi
}

# seed_items: files, folders and links of each kind on the demo account,
# once per look (the newest first in the lists).
seed_items() {
  [ -e "$SERVER_DATA/.gallery-items" ] && return 0
  local files
  files=$(mktemp -d)
  head -c 180000 /dev/urandom >"$files/Quarterly report for the board meeting with all appendices and notes (final, v3).pdf"
  head -c 2400000 /dev/urandom >"$files/holiday.mov"
  convert -size 64x48 gradient:'#4a90d9-#9fd3ff' "$files/Screen Shot 2026-11-23 at 10-14-03.png"
  printf 'notes\n' >"$files/notes.txt"
  for f in "$files"/*; do "$TESSLY" upload "$f" >/dev/null; done
  post folders/demo '{"payload":{"name":"Design reviews"}}'
  post folders/demo '{"payload":{"name":"Holiday 2026"}}'
  post links/demo '{"payload":{"content":"https://www.example.com/articles/2026/11/how-we-ship-desktop-apps-on-linux"}}'
  post links/demo '{"payload":{"content":"https://tessly.cloud/pricing"}}'
  rm -rf "$files"
  touch "$SERVER_DATA/.gallery-items"
}

# tray_click BUTTON: a click on the tray icon, the only one in trayer, whose
# width follows its icons.
tray_click() {
  local tray
  tray=$(xdotool search --onlyvisible --class trayer | tail -n1)
  eval "$(xdotool getwindowgeometry --shell "$tray")"
  xdotool mousemove $((X + WIDTH / 2)) $((Y + HEIGHT / 2)) click "$1"
}

# shot_around STATE WINDOW-ID: the window with a margin of desktop around it,
# so that its edge shows.
shot_around() {
  eval "$(xdotool getwindowgeometry --shell "$2")"
  import -window root -crop $((WIDTH + 40))x$((HEIGHT + 40))+$((X - 20))+$((Y - 20)) +repage \
    "$GALLERY_OUT/$GALLERY_PIECE-$1-$GALLERY_LOOK.png"
}
