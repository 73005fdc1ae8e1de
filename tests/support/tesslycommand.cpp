#include "tesslycommand.h"

#include <QProcess>
#include <QTest>

namespace TesslyCommand {

QString program()
{
    return qEnvironmentVariable("TESSLY_BINARY_DIR") + QStringLiteral("/src/app/tessly");
}

Run run(const QStringList &args, const QProcessEnvironment &env, const QByteArray &input, int timeoutMs)
{
    QProcess process;
    if (!env.isEmpty())
        process.setProcessEnvironment(env);
    process.start(program(), args);
    if (!input.isNull()) {
        process.write(input);
        process.closeWriteChannel();
    }
    Run run;
    if (!QTest::qWaitFor([&] { return process.state() == QProcess::NotRunning; }, timeoutMs)) {
        process.kill();
        process.waitForFinished();
        return run;
    }
    run.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    run.out = QString::fromUtf8(process.readAllStandardOutput());
    run.err = QString::fromUtf8(process.readAllStandardError());
    return run;
}

} // namespace TesslyCommand
