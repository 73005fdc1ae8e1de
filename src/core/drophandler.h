#pragma once

#include <QStringList>

class AppDelegate;
class QMimeData;

// What happens to things dropped on the tray icon or on the dashboard,
// decided from the drop's mime data: a web URL becomes a short link; files
// are uploaded (a folder as a folder on the service, several files as a
// folder or as one ZIP by the multiFileUploadAsFolder setting); an image or
// a file offered by reference is written out and uploaded.
class DropHandler
{
public:
    explicit DropHandler(AppDelegate *delegate);

    // A drag enters: the icon shows it is welcome. Always accepts (copy).
    bool draggingEntered(const QMimeData *data);
    void draggingExited();
    // The drop itself; always true.
    bool performDragOperation(const QMimeData *data);

private:
    AppDelegate *m_delegate;
};
