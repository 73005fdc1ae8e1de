# The tray application: the welcome window, the video-processing panel, the
# error panel, the "No Profile Found" alert, and the tray icon's looks.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"
helper="$BUILD/gallery/tessly-appgallery"

# Runs the helper in a state until it says "ready"; leaves its pid in $pid.
start() {
  local out
  out=$(mktemp)
  "$helper" "$@" >"$out" 2>/dev/null &
  pid=$!
  for _ in $(seq 100); do grep -q ready "$out" && break; sleep 0.1; done
  rm -f "$out"
  sleep 0.6 # the tray embeds the icon, the window manager maps the window
}
stop() { kill "$pid" 2>/dev/null || true; wait "$pid" 2>/dev/null || true; }

start welcome
shot welcome "$(wait_for_window 'Welcome to Tessly Cloud')"
stop

# The panels sit under the tray icon: the screen's top right corner.
corner() {
  local file="$GALLERY_OUT/$GALLERY_PIECE-$1-$GALLERY_LOOK.png"
  local width height
  read -r width height < <(xdpyinfo | sed -n 's/ *dimensions: *\([0-9]*\)x\([0-9]*\).*/\1 \2/p')
  local w=$((width / 3)) h=$((height / 4))
  import -window root -crop "${w}x${h}+$((width - w))+0" +repage "$file"
}

start processing
corner processing
stop

start error
corner error
stop

start noprofile
shot noprofile "$(wait_for_window 'Tessly Cloud')"
stop

for icon in MenuIcon MenuIcon-5 MenuIcon-Success-Alt MenuIcon-Error; do
  start icon "$icon"
  corner "tray-$icon"
  stop
done
"$helper" sheet "$GALLERY_OUT/$GALLERY_PIECE-icons-$GALLERY_LOOK.png"
