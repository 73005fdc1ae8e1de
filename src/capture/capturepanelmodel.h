#pragma once

#include <functional>
#include <optional>
#include <QList>
#include <QObject>
#include <QPointF>
#include <QRectF>
#include <QString>

// What the capture panel does with the pointer, without a display: the crop
// rectangle, drawing it anew, moving it, resizing it from its eight handles,
// snapping its edges to the windows of other applications, window-select
// mode, presets, and moving across screens.
//
// Geometry follows the panel's view: screen-local points with the origin at
// the bottom left, y upwards. Screens are given as frames in global
// bottom-left coordinates (first = main screen, whose height converts window
// rectangles); windows come as frames in global points with a top-left
// origin, top-most first.
//
// setCropRect() stores the rectangle under "TLCropRectKey" and posts
// "TLCaptureCropRectChanged" with its string form "{{x, y}, {w, h}}";
// a screen change posts "TLCaptureScreenWillChange" and "TLCaptureScreenChanged"
// with the new screen's index. Snapping logs its "Snap:" lines.
class CapturePanelModel : public QObject
{
    Q_OBJECT
public:
    // Handle locations: 0 top, 1 top-left, 2 top-right, 3 right,
    // 4 bottom-right, 5 bottom, 6 bottom-left, 7 left.
    static constexpr int kHandleCount = 8;
    static constexpr qreal kHandleSize = 8;
    static constexpr qreal kSnapDistance = 15;

    enum class Mode { Idle, Drawing, Moving, Resizing, WindowSelect };

    struct WindowFrame
    {
        QString owner;
        QRectF frame; // global points, top-left origin
    };
    using WindowSource = std::function<QList<WindowFrame>()>;

    explicit CapturePanelModel(QObject *parent = nullptr);

    void setScreens(const QList<QRectF> &frames);
    // The screens changed while framing (one unplugged or added): the frames
    // as they are now, and the current screen's index among them, -1 when it
    // is gone. Then the area moves to the first screen as a drag there would
    // move it, with the screen-change notifications.
    void screensChanged(const QList<QRectF> &frames, int current);
    QList<QRectF> screens() const { return m_screens; }
    int currentScreen() const { return m_currentScreen; }
    QRectF currentScreenFrame() const;
    void setCurrentScreen(int index) { m_currentScreen = index; }

    void setWindowSource(WindowSource source) { m_windowSource = std::move(source); }
    // Milliseconds, for the window-select list's age; tests move it.
    void setClock(std::function<qint64()> clock) { m_clock = std::move(clock); }

    QRectF cropRect() const { return m_cropRect; }
    // Ignores a rectangle of zero width or height; negative sizes pass.
    void setCropRect(const QRectF &rect);
    // The stored rectangle, or the 600x600 default centred on the screen.
    void restoreCropRect();

    static QString stringFromRect(const QRectF &rect);
    static std::optional<QRectF> rectFromString(const QString &text);

    // The handle's point on a rectangle, and which handle (or -1) a point
    // hits: within the handle's circle grown by half a 10-point stroke.
    static QPointF handlePoint(int location, const QRectF &rect);
    int handleAt(const QPointF &point) const;
    // Cursor image of a handle ("resizenorthsouth", ...; "crosshair" else).
    static QString cursorName(int location);
    // What the pointer looks like over a point: a handle's image,
    // "openhand" inside the rectangle, "arrow" elsewhere.
    QString cursorAt(const QPointF &point) const;

    Mode mode() const { return m_mode; }
    void mouseDown(const QPointF &point);
    void mouseDragged(const QPointF &point);
    void mouseUp();

    // The rectangle's edges as the handle at `location` moves to `point`.
    static QRectF resized(const QRectF &rect, int location, const QPointF &point);
    void handlePointDidChange(int location, const QPointF &point);

    void fetchSnapEdges();
    QList<qreal> snapEdgesH() const { return m_snapEdgesH; }
    QList<qreal> snapEdgesV() const { return m_snapEdgesV; }
    void setSnapEdges(const QList<qreal> &h, const QList<qreal> &v);
    static qreal snapValue(qreal value, const QList<qreal> &edges, qreal *distance = nullptr);
    QRectF snapRect(const QRectF &rect) const;
    void moveCropRect(const QPointF &from, const QPointF &to);

    // Moves the panel to another screen, keeping the rectangle's size (as far
    // as it fits) and its relative position.
    void transitionToScreen(int index);
    // Index of the first screen whose frame holds the global point; the main
    // screen when none does.
    int screenContainingPoint(const QPointF &global) const;

    // "Fullscreen", "Snap to window" or a title ending in "W×H".
    void setPreset(const QString &title);
    static QStringList presetTitles();

    void enterWindowSelectMode();
    void exitWindowSelectMode();
    bool windowSelectMode() const { return m_mode == Mode::WindowSelect; }
    // The highlighted window, global bottom-left; -1 / empty when none.
    int highlightedWindowIndex() const { return m_highlighted; }
    QRectF highlightedWindowRect() const;
    void updateWindowHighlight(const QPointF &global);
    // A click: takes the highlighted window's rectangle, on its screen.
    bool handleWindowSelectClick();

Q_SIGNALS:
    void cropRectChanged(const QRectF &rect);
    void screenChanged(int index);
    void windowSelectModeChanged(bool on);
    void highlightChanged(const QRectF &globalRect);

private:
    QList<WindowFrame> windowRects() const;
    QRectF toGlobalBottomLeft(const QRectF &topLeftFrame) const;
    void refreshWindowSelectRects();
    // transitionToScreen() from a screen whose frame was `oldFrame`.
    void moveToScreen(int index, const QRectF &oldFrame);

    QList<QRectF> m_screens;
    int m_currentScreen = 0;
    WindowSource m_windowSource;
    std::function<qint64()> m_clock;
    QRectF m_cropRect;
    Mode m_mode = Mode::Idle;
    QPointF m_startPoint;
    QRectF m_startRect;
    int m_activeHandle = -1;
    QList<qreal> m_snapEdgesH;
    QList<qreal> m_snapEdgesV;
    bool m_haveSnapEdges = false;
    QList<QRectF> m_windowSelectRects;
    qint64 m_windowSelectFetched = -1;
    int m_highlighted = -1;
};
