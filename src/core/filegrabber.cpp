#include "filegrabber.h"

#include "dispatch.h"

#include <QAbstractItemView>
#include <QApplication>
#include <QClipboard>
#include <QFileDialog>
#include <QFileSystemModel>
#include <QLoggingCategory>
#include <QMimeData>
#include <QRegularExpression>
#include <QSet>
#include <QUrl>

Q_LOGGING_CATEGORY(lcFileGrabber, "tessly.core.filegrabber")

namespace {

FileGrabber::Chooser &chooser()
{
    static FileGrabber::Chooser c;
    return c;
}

QStringList localPaths(const QStringList &lines)
{
    QStringList paths;
    for (const QString &raw : lines) {
        const QString line = raw.trimmed();
        if (line.isEmpty() || line.startsWith(QLatin1Char('#')))
            continue;
        const QUrl url(line);
        if (url.isLocalFile() && !paths.contains(url.toLocalFile()))
            paths << url.toLocalFile();
    }
    return paths;
}

} // namespace

QStringList FileGrabber::pathsFromMimeData(const QMimeData *mimeData)
{
    if (!mimeData)
        return {};
    // GNOME's form: the operation ("copy" or "cut") on the first line, then URIs.
    const QString gnome = QStringLiteral("x-special/gnome-copied-files");
    if (mimeData->hasFormat(gnome)) {
        QStringList lines = QString::fromUtf8(mimeData->data(gnome)).split(QLatin1Char('\n'));
        if (!lines.isEmpty())
            lines.removeFirst();
        if (const QStringList paths = localPaths(lines); !paths.isEmpty())
            return paths;
    }
    for (const char *type : { "text/uri-list", "application/x-kde4-urilist" }) {
        const QString format = QLatin1String(type);
        if (!mimeData->hasFormat(format))
            continue;
        const QStringList lines
            = QString::fromUtf8(mimeData->data(format)).split(QRegularExpression(QStringLiteral("[\r\n]+")));
        if (const QStringList paths = localPaths(lines); !paths.isEmpty())
            return paths;
    }
    return {};
}

void FileGrabber::setChooser(Chooser c)
{
    chooser() = std::move(c);
}

void FileGrabber::selectedPaths(std::function<void(const QStringList &)> completion)
{
    // Asked on the main thread: the clipboard and the dialog live there.
    Dispatch::main([completion = std::move(completion)] {
        QStringList paths;
        if (QClipboard *clipboard = QGuiApplication::clipboard()) {
            paths = pathsFromMimeData(clipboard->mimeData(QClipboard::Clipboard));
            if (paths.isEmpty() && clipboard->supportsSelection())
                paths = pathsFromMimeData(clipboard->mimeData(QClipboard::Selection));
        }
        if (paths.isEmpty())
            paths = chooser() ? chooser()() : chooseWithDialog();
        if (paths.isEmpty())
            paths = QStringList { QString() };
        completion(paths);
    });
}

QStringList FileGrabber::chooseWithDialog()
{
    // Qt's own dialog, switched to take several items, folders among them:
    // the portal and GTK choosers take files or folders, never both.
    QFileDialog dialog(nullptr, QStringLiteral("Choose Files to Upload"));
    dialog.setOption(QFileDialog::DontUseNativeDialog);
    dialog.setFileMode(QFileDialog::Directory);
    dialog.setOption(QFileDialog::ShowDirsOnly, false);
    dialog.setLabelText(QFileDialog::Accept, QStringLiteral("Upload"));
    for (QAbstractItemView *view : dialog.findChildren<QAbstractItemView *>(QStringLiteral("listView"))
            + dialog.findChildren<QAbstractItemView *>(QStringLiteral("treeView")))
        view->setSelectionMode(QAbstractItemView::ExtendedSelection);
    if (dialog.exec() != QDialog::Accepted)
        return {};
    QStringList paths;
    auto *model = dialog.findChild<QFileSystemModel *>();
    auto *view = dialog.findChild<QAbstractItemView *>(QStringLiteral("listView"));
    if (model && view && view->selectionModel()) {
        for (const QModelIndex &index : view->selectionModel()->selectedRows())
            paths << model->filePath(index);
    }
    if (paths.isEmpty())
        paths = dialog.selectedFiles();
    qCDebug(lcFileGrabber) << "chosen" << paths.size() << "items";
    return paths;
}
