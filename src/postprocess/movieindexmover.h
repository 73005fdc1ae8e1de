#pragma once

#include <QString>

// Copies an MP4 or QuickTime movie with its index (the "moov" box) moved in
// front of the media data, so that a player can start before the whole file
// has arrived: what a stream copy with ffmpeg's "+faststart" gives, without
// starting a process, decoding a packet or passing the data through twice.
// The media data goes across inside the kernel, and only the index is read
// and rewritten: its chunk offsets move on by the room it takes up in front.
//
// A movie it cannot be sure of (fragmented, an index with offsets it does not
// know how to move or that would no longer fit in 32 bits, boxes that do not
// add up to the file) is left to ffmpeg, and so is a copy that fails half way:
// copy() says so and leaves nothing at the destination.
class MovieIndexMover
{
public:
    // True when `destination` now holds the movie with its index first.
    // Otherwise `why` says what stopped it.
    static bool copy(const QString &source, const QString &destination, QString *why = nullptr);
};
