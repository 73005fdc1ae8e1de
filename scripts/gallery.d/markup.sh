# The markup editor: every tool in use with an arrow selected, the colour
# popover open, and a text being typed.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"
demo="$BUILD/gallery/markup-gallery"

show() {
  "$demo" "$1" &
  local pid=$!
  local id
  id=$(wait_for_window Markup) || { kill $pid; return 1; }
  sleep 0.8 # the fade-in and, for the popover, its timer
  shot "$1"
  shot "$1-window" "$id"
  kill $pid
  wait $pid 2>/dev/null || true
}

show editor
show colors
show text
