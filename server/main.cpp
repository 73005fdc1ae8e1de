#include "cli/commandline.h"
#include "common/privatefiles.h"
#include "common/serviceerror.h"
#include "http/service.h"
#include "storage/accounts.h"
#include "storage/database.h"
#include "storage/schema.h"

#include <atomic>
#include <csignal>
#include <iostream>
#include <thread>

using namespace tessly::server;

namespace {

int addUser(const AddUserOptions &options)
{
    makePrivateFolder(options.dataDir);
    Database db(options.dataDir + "/tessly.sqlite");
    applySchema(db);
    Accounts accounts(db);
    const User user = db.transaction([&] {
        User created = accounts.createUser(options.email, options.password);
        accounts.createProfile(created.id, options.profile, options.customDomain);
        return created;
    });
    std::cout << accounts.issueToken(user.id, "api") << std::endl;
    return 0;
}

int serve(const ServiceConfig &config)
{
    // SIGINT and SIGTERM end the service through a thread that waits for them,
    // so that stopping never runs inside a signal handler.
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    std::signal(SIGPIPE, SIG_IGN);

    Service service(config);
    std::atomic<bool> finished { false };
    std::thread waiter([&] {
        int received = 0;
        sigwait(&signals, &received);
        if (!finished)
            service.stop();
    });
    auto wakeWaiter = [&] {
        finished = true;
        pthread_kill(waiter.native_handle(), SIGTERM); // wakes the waiter if no signal came
        waiter.join();
    };
    int code = 1;
    try {
        code = service.run();
    } catch (...) {
        wakeWaiter();
        throw;
    }
    wakeWaiter();
    return code;
}

} // namespace

int main(int argc, char **argv)
{
    keepNewFilesPrivate();
    try {
        const CommandLine line = parseCommandLine(std::vector<std::string>(argv + 1, argv + argc));
        switch (line.command) {
        case CommandLine::Command::Serve:
            return serve(line.serve);
        case CommandLine::Command::AddUser:
            return addUser(line.addUser);
        case CommandLine::Command::Help:
            std::cout << usageText();
            return 0;
        case CommandLine::Command::Version:
            std::cout << "tessly-server " << TESSLY_VERSION << std::endl;
            return 0;
        }
    } catch (const std::invalid_argument &error) {
        std::cerr << "tessly-server: " << error.what() << "\n\n" << usageText();
        return 2;
    } catch (const ServiceError &error) {
        std::cerr << "tessly-server: " << error.what() << std::endl;
        return 1;
    } catch (const std::exception &error) {
        std::cerr << "tessly-server: " << error.what() << std::endl;
        return 1;
    }
    return 0;
}
