#include "movieasset.h"

#include "moviedecoder.h"
#include "privateexecutables.h"

#include <QLibrary>
#include <QLoggingCategory>

Q_LOGGING_CATEGORY(lcMovieAsset, "tessly.postprocess.movieasset")

namespace {

struct DecoderModule
{
    OpenMovieFunction open = nullptr;
    QString error;
};

// Loaded once and kept for the life of the process.
const DecoderModule &decoderModule()
{
    static const DecoderModule module = [] {
        DecoderModule loaded;
        const QString path = PrivateExecutables::privateModule(QString::fromLatin1(MovieDecoderModule));
        if (path.isEmpty()) {
            loaded.error = QStringLiteral("the movie decoder (%1) is not installed").arg(MovieDecoderModule);
        } else {
            QLibrary library(path);
            loaded.open = reinterpret_cast<OpenMovieFunction>(library.resolve(OpenMovieSymbol));
            if (!loaded.open)
                loaded.error = QStringLiteral("the movie decoder could not be loaded (%1)").arg(library.errorString());
        }
        if (!loaded.error.isEmpty())
            qCWarning(lcMovieAsset).noquote() << loaded.error;
        return loaded;
    }();
    return module;
}

} // namespace

MovieAsset::MovieAsset(const QString &path)
{
    const DecoderModule &module = decoderModule();
    if (module.open)
        m_decoder.reset(module.open(path));
    else
        m_error = module.error;
}

MovieAsset::~MovieAsset() = default;

bool MovieAsset::isReadable() const
{
    return m_decoder && m_decoder->isReadable();
}

QString MovieAsset::errorString() const
{
    return m_decoder ? m_decoder->errorString() : m_error;
}

double MovieAsset::nominalFrameRate() const
{
    return m_decoder ? m_decoder->nominalFrameRate() : 0.0;
}

double MovieAsset::duration() const
{
    return m_decoder ? m_decoder->duration() : 0.0;
}

QSize MovieAsset::size() const
{
    return m_decoder ? m_decoder->size() : QSize();
}

QImage MovieAsset::copyImageAtTime(double seconds)
{
    return m_decoder ? m_decoder->copyImageAtTime(seconds) : QImage();
}
