#pragma once

#include <functional>
#include <QPointer>
#include <QTextBrowser>
#include <QUrl>
#include <QWidget>

// The window shown while nobody is signed in: a page shipped with the
// application, whose links open in the browser. Any link to a login page
// goes to the service's own login page instead, which sends the browser back
// to the application's URL scheme with the token. The window closes itself
// when "UserLoggedIn" is posted.
class WelcomeWindowController : public QWidget
{
    Q_OBJECT
public:
    // `page`: the HTML file (a resource path by default).
    explicit WelcomeWindowController(
        const QString &page = QStringLiteral(":/welcome/welcome.html"), QWidget *parent = nullptr);
    ~WelcomeWindowController() override;

    // What a clicked link becomes: shown here (true) or handed to the browser.
    enum class Policy { Allow, OpenExternally };
    struct Decision
    {
        Policy policy;
        QUrl url;
    };
    static Decision decidePolicyForNavigation(const QUrl &url);

    // The service's login page: https://WEB-DOMAIN/auth/login?redirectTo=app.
    static QUrl loginPageUrl();

    QTextBrowser *webview() const { return m_webview; }

    // Links for the browser go through this (QDesktopServices by default).
    void setUrlOpener(std::function<void(const QUrl &)> opener) { m_openUrl = std::move(opener); }

    // Follows a link as a click on the page would.
    void navigate(const QUrl &url);

private:
    void loadHTML();

    QString m_page;
    QPointer<QTextBrowser> m_webview;
    std::function<void(const QUrl &)> m_openUrl;
};
