# The processing panel next to the tray icon, while a recording is turned into
# a GIF, and with a message too long for it.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"
demo="$BUILD/gallery/processingpanel-demo"

show() {
  "$demo" "$2" &
  local pid=$!
  local id
  id=$(wait_for_window Processing) || { kill $pid; return 1; }
  sleep 0.5 # let the spinner turn a little
  shot "$1"
  shot "$1-panel" "$id"
  kill $pid
  wait $pid 2>/dev/null || true
}

show gif "Converting to GIF..."
show long "Optimizing video for the web, this may take a while..."
