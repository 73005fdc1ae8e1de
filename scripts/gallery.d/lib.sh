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
