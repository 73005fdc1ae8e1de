#pragma once

#include "tlcapturesessionoptions.h"

#include <QList>

struct MediaDevices;

// The microphones and cameras the options menu offers, from Qt Multimedia.
// A microphone's id is its sound-server source name, which ffmpeg records
// from; a camera's is the id QCamera opens it by. Without the module that
// carries Qt Multimedia both lists are empty.
namespace CaptureDevices {

QList<CaptureDevice> microphones();
QList<CaptureDevice> cameras();

// The Qt Multimedia module (mediadevices.h), loaded on the first call and
// kept; null when it cannot be loaded, which is logged once.
const MediaDevices *mediaDevices();

} // namespace CaptureDevices
