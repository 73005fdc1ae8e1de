#pragma once

#include "tlcapturesessionoptions.h"

#include <QList>

// The microphones and cameras the options menu offers, from Qt Multimedia.
// A microphone's id is its sound-server source name, which ffmpeg records
// from; a camera's is the id QCamera opens it by.
namespace CaptureDevices {

QList<CaptureDevice> microphones();
QList<CaptureDevice> cameras();

} // namespace CaptureDevices
