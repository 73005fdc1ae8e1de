#include "ffmpegmoviedecoder.h"

#include "yuv420torgba.h"

#include <QFile>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/imgutils.h>
#include <libswscale/swscale.h>
}

#include <cmath>

namespace {

QString avErrorText(int code)
{
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(code, text, sizeof text);
    return QString::fromUtf8(text);
}

qint64 framePts(const AVFrame *frame)
{
    return frame->best_effort_timestamp != AV_NOPTS_VALUE ? frame->best_effort_timestamp : frame->pts;
}

} // namespace

FfmpegMovieDecoder::FfmpegMovieDecoder(const QString &path)
{
    av_log_set_level(AV_LOG_QUIET);
    const QByteArray file = QFile::encodeName(path);
    int status = avformat_open_input(&m_format, file.constData(), nullptr, nullptr);
    if (status < 0) {
        fail(QStringLiteral("the file could not be opened as a movie"), status);
        return;
    }
    status = avformat_find_stream_info(m_format, nullptr);
    if (status < 0) {
        fail(QStringLiteral("the movie's streams could not be read"), status);
        return;
    }
    const AVCodec *decoder = nullptr;
    m_stream = av_find_best_stream(m_format, AVMEDIA_TYPE_VIDEO, -1, -1, &decoder, 0);
    if (m_stream < 0 || !decoder) {
        fail(QStringLiteral("the movie has no video stream it can decode"), m_stream < 0 ? m_stream : 0);
        return;
    }
    const AVStream *stream = m_format->streams[m_stream];
    if (stream->codecpar->width <= 0 || stream->codecpar->height <= 0) {
        fail(QStringLiteral("the movie's picture has no size"), 0);
        return;
    }

    AVCodecContext *codec = avcodec_alloc_context3(decoder);
    avcodec_parameters_to_context(codec, stream->codecpar);
    codec->thread_count = 0; // as many as there are cores
    status = avcodec_open2(codec, decoder, nullptr);
    if (status < 0) {
        avcodec_free_context(&codec);
        {
            fail(QStringLiteral("the movie's video could not be decoded"), status);
            return;
        }
    }

    AVRational rate = stream->avg_frame_rate;
    if (rate.num <= 0 || rate.den <= 0)
        rate = stream->r_frame_rate;
    m_frameRate = rate.num > 0 && rate.den > 0 ? av_q2d(rate) : 0.0;
    m_timeBase = av_q2d(stream->time_base);
    m_startPts = stream->start_time != AV_NOPTS_VALUE ? stream->start_time : 0;
    if (m_format->duration != AV_NOPTS_VALUE && m_format->duration > 0)
        m_duration = double(m_format->duration) / AV_TIME_BASE;
    else if (stream->duration != AV_NOPTS_VALUE && stream->duration > 0)
        m_duration = double(stream->duration) * m_timeBase;
    m_size = QSize(stream->codecpar->width, stream->codecpar->height);
    m_packet = av_packet_alloc();
    m_current = av_frame_alloc();
    m_next = av_frame_alloc();
    m_codec = codec;
}

FfmpegMovieDecoder::~FfmpegMovieDecoder()
{
    sws_freeContext(m_scaler);
    av_frame_free(&m_current);
    av_frame_free(&m_next);
    av_packet_free(&m_packet);
    avcodec_free_context(&m_codec);
    avformat_close_input(&m_format);
}

void FfmpegMovieDecoder::fail(const QString &what, int code)
{
    m_error = code < 0 ? QStringLiteral("%1 (%2)").arg(what, avErrorText(code)) : what;
}

// Decodes the next frame into m_next; false at the end of the stream or on an
// error that ends decoding.
bool FfmpegMovieDecoder::decodeNext()
{
    while (!m_endOfStream) {
        const int received = avcodec_receive_frame(m_codec, m_next);
        if (received == 0) {
            m_haveNext = true;
            return true;
        }
        if (received == AVERROR_EOF) {
            m_endOfStream = true;
            break;
        }
        if (received != AVERROR(EAGAIN)) {
            fail(QStringLiteral("a frame could not be decoded"), received);
            m_endOfStream = true;
            break;
        }
        // The decoder wants more input.
        int read = av_read_frame(m_format, m_packet);
        while (read >= 0 && m_packet->stream_index != m_stream) {
            av_packet_unref(m_packet);
            read = av_read_frame(m_format, m_packet);
        }
        if (read < 0) {
            avcodec_send_packet(m_codec, nullptr); // drain what is buffered
            continue;
        }
        const int sent = avcodec_send_packet(m_codec, m_packet);
        av_packet_unref(m_packet);
        if (sent < 0 && sent != AVERROR(EAGAIN) && sent != AVERROR_INVALIDDATA) {
            fail(QStringLiteral("the movie's data could not be decoded"), sent);
            m_endOfStream = true;
        }
    }
    return false;
}

bool FfmpegMovieDecoder::seekTo(qint64 pts)
{
    if (av_seek_frame(m_format, m_stream, pts, AVSEEK_FLAG_BACKWARD) < 0
        && av_seek_frame(m_format, m_stream, m_startPts, AVSEEK_FLAG_BACKWARD) < 0)
        return false;
    avcodec_flush_buffers(m_codec);
    m_haveCurrent = m_haveNext = m_endOfStream = false;
    return true;
}

QImage FfmpegMovieDecoder::copyImageAtTime(double seconds)
{
    if (!m_codec)
        return {};
    const qint64 target = m_startPts + qint64(std::floor(seconds / m_timeBase + 1e-6));
    if (m_haveCurrent && framePts(m_current) > target && !seekTo(target))
        return {};
    for (;;) {
        if (!m_haveNext && !decodeNext())
            break;
        if (m_haveCurrent && framePts(m_next) > target)
            break;
        // m_next starts at or before the time (or is the very first frame):
        // it becomes the frame shown.
        std::swap(m_current, m_next);
        m_haveCurrent = true;
        m_haveNext = false;
        av_frame_unref(m_next);
        if (framePts(m_current) > target)
            break;
    }
    return m_haveCurrent ? toImage(m_current) : QImage();
}

QImage FfmpegMovieDecoder::toImage(const AVFrame *frame)
{
    // Chroma interpolated between samples: the scaler's fast path repeats
    // each sample over two pixels, which smears the colour of every edge (a
    // recording's frames come out at an SSIM of 0.99930 against the movie at
    // best, 0.99991 interpolated). The usual 4:2:0 is converted here, in
    // less than half the time the scaler's exact modes take; other formats
    // go through those.
    QImage converted = yuv420ToRgba(frame);
    if (!converted.isNull())
        return converted;
    constexpr int flags = SWS_BILINEAR | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INT | SWS_FULL_CHR_H_INP;
    m_scaler = sws_getCachedContext(m_scaler, frame->width, frame->height, AVPixelFormat(frame->format), frame->width,
        frame->height, AV_PIX_FMT_RGBA, flags, nullptr, nullptr, nullptr);
    if (!m_scaler) {
        m_error = QStringLiteral("the movie's pixel format cannot be converted");
        return {};
    }
    // The colour matrix the movie states, else the one ffmpeg assumes too.
    const int matrix = frame->colorspace == AVCOL_SPC_BT709 ? SWS_CS_ITU709
        : frame->colorspace == AVCOL_SPC_BT2020_NCL         ? SWS_CS_BT2020
                                                            : SWS_CS_DEFAULT;
    sws_setColorspaceDetails(m_scaler, sws_getCoefficients(matrix), frame->color_range == AVCOL_RANGE_JPEG,
        sws_getCoefficients(SWS_CS_DEFAULT), 1, 0, 1 << 16, 1 << 16);
    QImage image(frame->width, frame->height, QImage::Format_RGBA8888);
    if (image.isNull()) {
        m_error = QStringLiteral("there is not enough memory for a frame");
        return {};
    }
    uint8_t *planes[4] = { image.bits(), nullptr, nullptr, nullptr };
    const int strides[4] = { int(image.bytesPerLine()), 0, 0, 0 };
    sws_scale(m_scaler, frame->data, frame->linesize, 0, frame->height, planes, strides);
    return image;
}

extern "C" Q_DECL_EXPORT MovieDecoder *tesslyOpenMovie(const QString &path)
{
    return new FfmpegMovieDecoder(path);
}
