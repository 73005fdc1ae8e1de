#pragma once

#include <QStringList>
#include <QWidget>

class QButtonGroup;

// A row of exclusive toggle buttons, one per label, like a segmented control:
// exactly one segment is selected. segmentChanged() reports the user's
// choices only, not setSelectedSegment().
class SegmentedControl : public QWidget
{
    Q_OBJECT
public:
    explicit SegmentedControl(const QStringList &labels, QWidget *parent = nullptr);

    int selectedSegment() const;
    void setSelectedSegment(int segment);
    int segmentCount() const;
    QString labelForSegment(int segment) const;

Q_SIGNALS:
    void segmentChanged(int segment);

private:
    QButtonGroup *m_group;
};
