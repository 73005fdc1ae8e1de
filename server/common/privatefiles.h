// The data folder holds the store's signing secret, password hashes and the
// TLS key: nobody but the service's own user may read or change any of it.
#pragma once

#include <string>

namespace tessly::server {

// Every file and folder the process creates from now on is its owner's
// alone (umask 077), whatever umask it was started with.
void keepNewFilesPrivate();
// Creates `dir` (and its parents) when missing and makes it 0700.
void makePrivateFolder(const std::string &dir);

} // namespace tessly::server
