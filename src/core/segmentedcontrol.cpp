#include "segmentedcontrol.h"

#include <QAbstractButton>
#include <QButtonGroup>
#include <QHBoxLayout>
#include <QToolButton>

SegmentedControl::SegmentedControl(const QStringList &labels, QWidget *parent)
    : QWidget(parent)
    , m_group(new QButtonGroup(this))
{
    auto *layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(2);
    for (int i = 0; i < labels.size(); ++i) {
        auto *button = new QToolButton(this);
        button->setText(labels[i]);
        button->setCheckable(true);
        button->setAutoRaise(true);
        button->setFocusPolicy(Qt::NoFocus);
        button->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
        m_group->addButton(button, i);
        layout->addWidget(button);
    }
    m_group->setExclusive(true);
    if (!labels.isEmpty())
        m_group->button(0)->setChecked(true);
    connect(m_group, &QButtonGroup::idClicked, this, &SegmentedControl::segmentChanged);
}

int SegmentedControl::selectedSegment() const
{
    return m_group->checkedId();
}

void SegmentedControl::setSelectedSegment(int segment)
{
    if (QAbstractButton *button = m_group->button(segment))
        button->setChecked(true);
}

int SegmentedControl::segmentCount() const
{
    return int(m_group->buttons().size());
}

QString SegmentedControl::labelForSegment(int segment) const
{
    QAbstractButton *button = m_group->button(segment);
    return button ? button->text() : QString();
}
