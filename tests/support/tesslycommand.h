#pragma once

#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

// The tessly binary of this build, run as a user or a script runs it.
namespace TesslyCommand {

struct Run
{
    int exitCode = -1; // -1: it crashed, or was killed after the time allowed
    QString out;
    QString err;
};

// Where the build put it.
QString program();

// Runs `tessly args` in `env` (this process's environment when empty), with
// `input` on its standard input. This event loop keeps turning meanwhile, so
// that a loopback peer of this process can answer it.
Run run(
    const QStringList &args, const QProcessEnvironment &env = {}, const QByteArray &input = {}, int timeoutMs = 120000);

} // namespace TesslyCommand
