#pragma once

#include <QColor>
#include <QIcon>
#include <QString>

// Icons of the desktop's icon theme for menus and small rows. Themes like
// Adwaita ship many actions only as "-symbolic" drawings in one dark grey;
// those are tinted with the text colour they sit on, so they read in light
// and dark looks alike.
namespace MenuIcons {

// The theme's symbolic variant of `name` tinted with `color`, else its
// icon `name`; a null icon when the theme has neither.
QIcon themed(const QString &name, const QColor &color);

} // namespace MenuIcons
