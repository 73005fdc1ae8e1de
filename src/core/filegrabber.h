#pragma once

#include <functional>
#include <QStringList>

class QMimeData;
class QWidget;

// The files the user has picked in the file manager. Nautilus, Nemo, Caja,
// Dolphin, Thunar and PCManFM put the selection's file URIs on the clipboard
// when the user copies it (text/uri-list, x-special/gnome-copied-files, the
// KDE form); when neither the clipboard nor the primary selection holds any,
// a file chooser asks (several files, folders allowed).
class FileGrabber
{
public:
    // Calls back on the main thread with the paths in their order; a single
    // empty string when the user chose nothing.
    static void selectedPaths(std::function<void(const QStringList &paths)> completion);

    // The local paths of the file URIs in mime data, in order, without
    // duplicates; empty when it offers none.
    static QStringList pathsFromMimeData(const QMimeData *mimeData);

    // The chooser alone, modal; empty when cancelled. Tests and other callers
    // may replace it (an empty function restores the dialog).
    using Chooser = std::function<QStringList()>;
    static void setChooser(Chooser chooser);

private:
    static QStringList chooseWithDialog();
};
