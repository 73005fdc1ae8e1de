#pragma once

// The shutter sound: the sound theme's "screen-capture" event through
// libcanberra. Returns when the sound has played (at most about a second), so
// the tool may exit right after; returns at once when there is no sound
// server or no such sound in the theme.
namespace CaptureSound {

void play();

} // namespace CaptureSound
