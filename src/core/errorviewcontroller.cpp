#include "errorviewcontroller.h"

#include "panelplacement.h"
#include "serviceconfig.h"

#include <QDesktopServices>
#include <QHBoxLayout>
#include <QIcon>
#include <QJsonDocument>
#include <QStyle>
#include <QUrlQuery>
#include <QVBoxLayout>

ErrorViewController::ErrorViewController(QWidget *parent)
    : QWidget(parent, Qt::Popup | Qt::FramelessWindowHint)
    , m_errorTitle(new QLabel(this))
    , m_errorText(new QLabel(this))
    , m_errorButton(new QPushButton(QStringLiteral("Send Error Report"), this))
{
    setWindowTitle(QStringLiteral("Tessly Cloud"));
    setFixedWidth(340);
    auto *layout = new QHBoxLayout(this);
    layout->setContentsMargins(16, 14, 16, 14);
    layout->setSpacing(12);
    auto *icon = new QLabel(this);
    icon->setPixmap(style()->standardIcon(QStyle::SP_MessageBoxWarning).pixmap(32, 32));
    icon->setAlignment(Qt::AlignTop);
    layout->addWidget(icon, 0, Qt::AlignTop);
    auto *column = new QVBoxLayout;
    column->setSpacing(6);
    QFont bold = m_errorTitle->font();
    bold.setBold(true);
    m_errorTitle->setFont(bold);
    m_errorTitle->setWordWrap(true);
    m_errorText->setWordWrap(true);
    m_errorText->setTextInteractionFlags(Qt::TextSelectableByMouse);
    column->addWidget(m_errorTitle);
    column->addWidget(m_errorText);
    column->addWidget(m_errorButton, 0, Qt::AlignRight);
    layout->addLayout(column, 1);
    connect(m_errorButton, &QPushButton::clicked, this, &ErrorViewController::sendError);
}

void ErrorViewController::setError(const QVariantMap &record)
{
    m_errorTitle->setText(record.value(QStringLiteral("error")).toString());
    m_errorText->setText(record.value(QStringLiteral("message")).toString());
    const QVariant data = record.value(QStringLiteral("data"));
    if (data.canConvert<QVariantMap>() && data.typeId() != QMetaType::QString)
        m_errorData = QString::fromUtf8(QJsonDocument::fromVariant(data).toJson(QJsonDocument::Indented));
    else
        m_errorData = data.toString();
    m_errorButton->setVisible(!record.value(QStringLiteral("hideButton")).toBool());
    adjustSize();
}

QUrl ErrorViewController::reportUrl() const
{
    QUrl url;
    url.setScheme(QStringLiteral("mailto"));
    url.setPath(Config::supportEmail());
    QUrlQuery query;
    query.addQueryItem(QStringLiteral("subject"), QStringLiteral("Error Linux App"));
    query.addQueryItem(QStringLiteral("body"), QStringLiteral("Error Data\n====\n\n") + m_errorData);
    url.setQuery(query);
    return url;
}

void ErrorViewController::sendError()
{
    const QUrl url = reportUrl();
    if (m_openUrl)
        m_openUrl(url);
    else
        QDesktopServices::openUrl(url);
    close();
}

void ErrorViewController::showAnchoredTo(const QRect &anchor)
{
    adjustSize();
    move(panelPositionFor(anchor, size()));
    show();
}
