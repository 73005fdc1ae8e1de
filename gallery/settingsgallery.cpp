// The settings window in the states scripts/gallery shows:
//   tessly-settingsgallery general|shortcuts|taken|refused|wayland|update
// "taken" has another X client grab Alt+Shift+4 (the screenshot shortcut)
// first; "refused" is the screenshot recorder after a plain "A"; "wayland"
// is the shortcuts pane as a Wayland session shows it; "update" checks for
// updates (the gallery publishes a newer client).
// Prints "ready" once the window shows its state, then runs until killed.
#include "globalshortcutmonitor.h"
#include "settingswindow.h"
#include "settingswindowcontroller.h"
#include "shortcutrecorder.h"
#include "shortcuttable.h"

#include <cstdio>
#include <QApplication>
#include <QProcess>
#include <QTest>
#include <xcb/xcb.h>

namespace {

// The key that types "4" in the current layout, as xmodmap lists it.
xcb_keycode_t keycodeOfFour()
{
    QProcess xmodmap;
    xmodmap.start(QStringLiteral("sh"),
        { QStringLiteral("-c"), QStringLiteral("xmodmap -pke | awk '$4 == \"4\" {print $2; exit}'") });
    xmodmap.waitForFinished();
    return xcb_keycode_t(xmodmap.readAllStandardOutput().trimmed().toInt());
}

} // namespace

int main(int argc, char *argv[])
{
    const QString state = argc > 1 ? QString::fromLocal8Bit(argv[1]) : QStringLiteral("general");
    if (state == QLatin1String("wayland"))
        qputenv("TESSLY_PLATFORM_BACKEND", "wayland");
    QApplication app(argc, argv);
    xcb_connection_t *other = nullptr;
    if (state == QLatin1String("taken")) {
        other = xcb_connect(nullptr, nullptr);
        const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(other)).data->root;
        xcb_grab_key(other, 1, root, XCB_MOD_MASK_1 | XCB_MOD_MASK_SHIFT, keycodeOfFour(), XCB_GRAB_MODE_ASYNC,
            XCB_GRAB_MODE_ASYNC);
        std::free(xcb_get_input_focus_reply(other, xcb_get_input_focus(other), nullptr));
    }
    QObject actions; // the shortcuts only need to be registered
    ShortcutTable::subscribe(GlobalShortcutMonitor::sharedMonitor(), &actions);

    auto *controller = new SettingsWindowController;
    SettingsWindow window(controller);
    controller->setParent(&window);
    window.setAttribute(Qt::WA_DeleteOnClose, false);
    if (state != QLatin1String("general") && state != QLatin1String("update"))
        controller->switchToPanelWithIdentifier(QStringLiteral("toolbar.shortcuts"));
    if (state == QLatin1String("update"))
        controller->checkForUpdates();
    window.show();
    bool shown = QTest::qWaitFor([&] {
        return !controller->userEmail().isEmpty()
            && (state != QLatin1String("update") || !controller->isCheckingForUpdates());
    });
    shown = QTest::qWaitForWindowActive(&window) && shown;
    if (state == QLatin1String("refused")) {
        ShortcutRecorder *recorder = window.recorder(1);
        QTest::mouseClick(recorder, Qt::LeftButton);
        QTest::keyClick(recorder, Qt::Key_A);
        shown = shown && recorder->isRecording();
    }
    if (!shown)
        std::fputs("settings gallery: the window did not reach its state; shown as it is\n", stderr);
    std::puts("ready");
    std::fflush(stdout);
    const int code = app.exec();
    if (other)
        xcb_disconnect(other);
    return code;
}
