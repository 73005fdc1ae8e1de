#pragma once

#include <functional>
#include <QString>

// What the recorder needs of the tray icon to turn it into the stop control
// while a recording runs: its image and tooltip, and what a click does. The
// application's status item implements it; the capture module does not know
// the tray.
class RecordingStatusButton
{
public:
    virtual ~RecordingStatusButton() = default;

    virtual QString imageName() const = 0;
    virtual void setImageNamed(const QString &name) = 0;
    virtual void setAccessibilityDescription(const QString &text) = 0;

    // What a left click does; empty: the icon's own action.
    using ClickAction = std::function<void()>;
    virtual ClickAction clickAction() const = 0;
    virtual void setClickAction(ClickAction action) = 0;
};
