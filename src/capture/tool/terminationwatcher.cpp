#include "terminationwatcher.h"

#include <csignal>
#include <QSocketNotifier>
#include <sys/socket.h>
#include <unistd.h>

namespace {

int g_fds[2] = { -1, -1 };

void onSignal(int)
{
    const char byte = 1;
    [[maybe_unused]] const ssize_t written = ::write(g_fds[0], &byte, 1);
}

} // namespace

TerminationWatcher::TerminationWatcher(QObject *parent)
    : QObject(parent)
{
    if (::socketpair(AF_UNIX, SOCK_STREAM, 0, g_fds) != 0)
        return;
    m_notifier = new QSocketNotifier(g_fds[1], QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, [this] {
        char byte;
        [[maybe_unused]] const ssize_t n = ::read(g_fds[1], &byte, 1);
        Q_EMIT terminationRequested();
    });
    struct sigaction action = {};
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    sigaction(SIGTERM, &action, nullptr);
    sigaction(SIGINT, &action, nullptr);
}

TerminationWatcher::~TerminationWatcher()
{
    std::signal(SIGTERM, SIG_DFL);
    std::signal(SIGINT, SIG_DFL);
    delete m_notifier;
    ::close(g_fds[0]);
    ::close(g_fds[1]);
}
