#pragma once

// Whether the desktop runs a clipboard manager: a program that takes over the
// clipboard's contents when the application that copied them exits. On X11
// the clipboard lives in its owner, so a command-line run that copies a link
// needs one for the link to outlive it (Qt hands the clipboard over to it when
// the application object goes). The X11 backend asks for the owner of the
// CLIPBOARD_MANAGER selection; elsewhere the answer is false.
namespace ClipboardManager {

bool isRunning();

} // namespace ClipboardManager
