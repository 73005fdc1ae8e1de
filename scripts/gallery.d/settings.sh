# The settings window: the general pane, the shortcuts pane, a shortcut that
# another program holds, a plain key the recorder refuses, the shortcuts pane
# of a Wayland session, and a newer client on offer.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"
helper="$BUILD/gallery/tessly-settingsgallery"

show() {
  local out pid
  out=$(mktemp)
  "$helper" "$1" >"$out" 2>/dev/null &
  pid=$!
  for _ in $(seq 100); do grep -q ready "$out" && break; sleep 0.1; done
  rm -f "$out"
  sleep 0.4 # the window manager frames the window
  shot "$1" "$(wait_for_window 'Tessly Cloud Settings')"
  kill "$pid" 2>/dev/null || true
  wait "$pid" 2>/dev/null || true
}

show general
show shortcuts
show taken
show refused
show wayland
curl -fsS -X PUT -H "Authorization: Bearer $ADMIN_TOKEN" -H 'Content-Type: application/json' \
  -d '{"version":"9.0.1","downloadUrl":"https://tessly.cloud/download"}' \
  "${TESSLY_API_URL%/v1/}/admin/client-release" >/dev/null
show update
