#include "welcomewindowcontroller.h"

#include "notificationcenter.h"
#include "notifications.h"
#include "webpage.h"

#include <QDesktopServices>
#include <QFile>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QTextBrowser>
#include <QVBoxLayout>

Q_LOGGING_CATEGORY(lcWelcomeWindowController, "tessly.core.welcomewindowcontroller")

WelcomeWindowController::WelcomeWindowController(const QString &page, QWidget *parent)
    : QWidget(parent, Qt::Window)
    , m_page(page)
    , m_webview(new QTextBrowser(this))
{
    setWindowTitle(QStringLiteral("Welcome to Tessly Cloud"));
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_webview);
    m_webview->setFrameShape(QFrame::NoFrame);
    m_webview->setOpenLinks(false);
    m_webview->setOpenExternalLinks(false);
    connect(m_webview, &QTextBrowser::anchorClicked, this, &WelcomeWindowController::navigate);
    resize(560, 570);
    loadHTML();
    NotificationCenter::defaultCenter().addObserver(this, QString::fromLatin1(Notifications::UserLoggedIn),
        [this](const Notification &) { QMetaObject::invokeMethod(this, &QWidget::close, Qt::QueuedConnection); });
}

WelcomeWindowController::~WelcomeWindowController() = default;

QUrl WelcomeWindowController::loginPageUrl()
{
    return WebPage::url(QStringLiteral("/auth/login?redirectTo=app"));
}

void WelcomeWindowController::loadHTML()
{
    QFile file(m_page);
    if (!file.open(QIODevice::ReadOnly)) {
        qCWarning(lcWelcomeWindowController).noquote() << "Error: HTML file not found in bundle.";
        return;
    }
    // Relative images and pages resolve against the page's own folder.
    const QString folder = QFileInfo(m_page).absolutePath();
    const QUrl base = m_page.startsWith(QLatin1Char(':')) ? QUrl(QStringLiteral("qrc") + folder + QLatin1Char('/'))
                                                          : QUrl::fromLocalFile(folder + QLatin1Char('/'));
    m_webview->document()->setBaseUrl(base);
    m_webview->setSearchPaths({ folder });
    m_webview->setHtml(QString::fromUtf8(file.readAll()));
}

WelcomeWindowController::Decision WelcomeWindowController::decidePolicyForNavigation(const QUrl &url)
{
    QUrl target = url;
    if (url.toString(QUrl::FullyEncoded).contains(QLatin1String("/login")))
        target = loginPageUrl();
    // Pages shipped with the application stay in the window.
    const QString scheme = target.scheme();
    if (scheme == QLatin1String("file") || scheme == QLatin1String("qrc") || scheme.isEmpty())
        return { Policy::Allow, target };
    return { Policy::OpenExternally, target };
}

void WelcomeWindowController::navigate(const QUrl &link)
{
    const QUrl url = m_webview->document()->baseUrl().resolved(link);
    const Decision decision = decidePolicyForNavigation(link.isRelative() ? url : link);
    if (decision.policy == Policy::Allow) {
        m_webview->setSource(decision.url);
        return;
    }
    if (m_openUrl)
        m_openUrl(decision.url);
    else
        QDesktopServices::openUrl(decision.url);
}
