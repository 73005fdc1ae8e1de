#include "multipartuploadsession.h"

#include "dispatch.h"
#include "fileurl.h"
#include "notificationcenter.h"
#include "notifications.h"

#include <QFile>
#include <QFileInfo>
#include <QLoggingCategory>

#include <algorithm>
#include <cmath>

Q_LOGGING_CATEGORY(lcMultipartSession, "tessly.upload.multipartsession")

namespace {

void log(const QString &line)
{
    qCInfo(lcMultipartSession).noquote() << line;
}

TLMultipartAPIClient &client()
{
    return TLMultipartAPIClient::sharedClient();
}

} // namespace

std::shared_ptr<TLMultipartUploadSession> TLMultipartUploadSession::create(
    const QUrl &fileURL, const QString &parentItem, const QVariant &order, const QString &taskId)
{
    std::shared_ptr<TLMultipartUploadSession> session(new TLMultipartUploadSession);
    session->m_fileURL = fileURL;
    session->m_parentItem = parentItem;
    session->m_order = order;
    session->m_taskId = taskId;
    session->m_mimeType = FileUrl::mimeType(fileURL.toLocalFile());
    session->commonInit();
    return session;
}

std::shared_ptr<TLMultipartUploadSession> TLMultipartUploadSession::create(
    const TLMultipartUploadStatePtr &persistedState, const QString &taskId)
{
    std::shared_ptr<TLMultipartUploadSession> session(new TLMultipartUploadSession);
    session->m_uploadState = persistedState;
    session->m_fileURL = QUrl::fromLocalFile(persistedState->filePath());
    session->m_parentItem = persistedState->parentItem();
    session->m_order = persistedState->order();
    session->m_uploadId = persistedState->uploadId();
    session->m_key = persistedState->key();
    session->m_mimeType = persistedState->mimeType();
    session->m_taskId = taskId;
    session->commonInit();
    return session;
}

void TLMultipartUploadSession::commonInit()
{
    m_maxConcurrentPartUploads = 4;
    m_maxRetries = 3;
    m_partURLBatchSize = 100;
    m_isPaused = false;
    m_shouldCancel = false;
}

QString TLMultipartUploadSession::uploadId() const
{
    QMutexLocker lock(&m_identityLock);
    return m_uploadId;
}

QString TLMultipartUploadSession::key() const
{
    QMutexLocker lock(&m_identityLock);
    return m_key;
}

TLMultipartUploadStatePtr TLMultipartUploadSession::currentState() const
{
    return m_uploadState;
}

double TLMultipartUploadSession::retryDelayForAttempt(quint64 attempt)
{
    if (attempt < 1)
        return 0;
    return std::min(std::pow(2.0, double(std::min<quint64>(attempt - 1, 16))), 30.0);
}

void TLMultipartUploadSession::onQueue(std::function<void(TLMultipartUploadSession &)> step)
{
    std::weak_ptr<TLMultipartUploadSession> weak = weak_from_this();
    client().queue().async([weak, step = std::move(step)] {
        if (auto self = weak.lock())
            step(*self);
    });
}

void TLMultipartUploadSession::onQueueSync(const std::function<void()> &step)
{
    client().queue().sync(step);
}

// Start, pause, resume, abort ------------------------------------------------

void TLMultipartUploadSession::startWithProgressHandler(ProgressHandler progressHandler, CompletionHandler completion)
{
    m_progressHandler = std::move(progressHandler);
    m_completionHandler = std::move(completion);
    m_totalBytesSent = 0;
    m_isPaused = false;
    m_shouldCancel = false;
    onQueue([](TLMultipartUploadSession &s) {
        s.m_uploadStartTime.start();
        s.m_attemptsThisRun.clear();
        if (s.m_uploadState) {
            log(QStringLiteral("[TLMultipartUploadSession] Resuming upload from persisted state"));
            const QString change = s.m_uploadState->fileChange();
            if (!change.isNull())
                return s.dropChangedUpload(change, true);
            s.fetchURLsAndUpload();
        } else {
            log(QStringLiteral("[TLMultipartUploadSession] Starting new multipart upload for %1")
                    .arg(QFileInfo(s.m_fileURL.toLocalFile()).fileName()));
            s.initializeUpload();
        }
    });
}

void TLMultipartUploadSession::pause()
{
    log(QStringLiteral("[TLMultipartUploadSession] Pausing upload"));
    m_isPaused = true;
    m_state = Paused;
    onQueueSync([this] {
        cancelActiveTasks();
        persistCurrentState();
        m_spareBuffers.clear(); // a paused upload holds no part bytes
    });
}

void TLMultipartUploadSession::resume()
{
    // Leaves Paused here: the steps never overwrite it themselves.
    int paused = Paused;
    if (!m_state.compare_exchange_strong(paused, FetchingURLs)) {
        log(QStringLiteral("[TLMultipartUploadSession] Cannot resume - not in paused state"));
        return;
    }
    log(QStringLiteral("[TLMultipartUploadSession] Resuming upload"));
    m_isPaused = false;
    m_totalBytesSent = 0;
    onQueueSync([this] {
        m_uploadStartTime.start();
        m_attemptsThisRun.clear();
        fetchURLsAndUpload();
    });
}

void TLMultipartUploadSession::abort()
{
    log(QStringLiteral("[TLMultipartUploadSession] Aborting upload (user requested)"));
    m_shouldCancel = true;
    m_state = Aborting;
    onQueueSync([this] { cancelActiveTasks(); });

    const QString id = uploadId();
    const QString objectKey = key();
    if (id.isEmpty() || objectKey.isEmpty()) {
        m_state = Aborted;
        callCompletion(false, {}, Error());
        return;
    }
    std::weak_ptr<TLMultipartUploadSession> weak = weak_from_this();
    client().abortMultipartUploadForKey(objectKey, id, [weak, id](bool success, const Error &error) {
        if (success)
            log(QStringLiteral("[TLMultipartUploadSession] S3 multipart upload aborted successfully"));
        else
            log(QStringLiteral("[TLMultipartUploadSession] Failed to abort S3 upload: %1").arg(error.toString()));
        TLMultipartUploadState::removeStateForUploadId(id);
        if (auto self = weak.lock()) {
            self->m_state = Aborted;
            self->callCompletion(false, {}, error);
        }
    });
}

void TLMultipartUploadSession::cancelActiveTasks()
{
    for (const auto &task : std::as_const(m_activeTasks))
        task->cancel();
    m_activeTasks.clear();
}

// The steps ----------------------------------------------------------------

void TLMultipartUploadSession::enterStep(State step)
{
    // pause() and abort() set their states from other threads at any time;
    // a step that was already on its way must not overwrite them.
    int current = m_state;
    while (current != Paused && current != Aborting && current != Aborted
        && !m_state.compare_exchange_weak(current, step)) { }
}

void TLMultipartUploadSession::initializeUpload()
{
    enterStep(Initializing);
    const QString path = m_fileURL.toLocalFile();
    const QFileInfo info(path);
    if (!info.exists() || !info.isFile()) {
        handleFailure(Error(QStringLiteral("FileSystem"), 260,
            QStringLiteral("The file \u201c%1\u201d couldn\u2019t be opened because there is no such file.")
                .arg(info.fileName())));
        return;
    }
    const quint64 size = quint64(info.size());

    m_initiating = true;
    std::weak_ptr<TLMultipartUploadSession> weak = weak_from_this();
    client().initializeMultipartUploadForFileName(info.fileName(), m_mimeType, size, m_parentItem, m_order,
        [weak, path, size](bool success, const QString &uploadId, const QString &key, quint64 partSize,
            const QString &code, const QString &customDomain, const Error &error) {
            auto self = weak.lock();
            if (!self)
                return;
            self->m_initiating = false;
            if (success && self->m_shouldCancel) {
                // Aborted while the service was answering: it must not keep
                // the upload, and no record may come back to life.
                client().abortMultipartUploadForKey(key, uploadId, [](bool, const Error &) {});
                return;
            }
            if (!success || uploadId.isNull() || key.isNull()) {
                log(QStringLiteral("[TLMultipartUploadSession] Failed to initialize multipart upload: %1")
                        .arg(error.toString()));
                self->handleFailure(error);
                return;
            }
            if (!self->acceptPartSize(size, partSize, uploadId, key))
                return;
            {
                QMutexLocker lock(&self->m_identityLock);
                self->m_uploadId = uploadId;
                self->m_key = key;
            }
            auto record
                = std::make_shared<TLMultipartUploadState>(uploadId, key, path, self->m_mimeType, size, partSize);
            record->setParentItem(self->m_parentItem);
            record->setOrder(self->m_order);
            record->setCode(code);
            record->setCustomDomain(customDomain);
            record->recordFileIdentity();
            self->m_uploadState = record;
            TLMultipartUploadState::saveState(*record);
            log(QStringLiteral("[TLMultipartUploadSession] Initialized: %1 parts, partSize=%2")
                    .arg(record->parts().size())
                    .arg(partSize));
            self->fetchURLsAndUpload();
        });
}

bool TLMultipartUploadSession::acceptPartSize(
    quint64 fileSize, quint64 partSize, const QString &uploadId, const QString &key)
{
    const quint64 minimum = client().minimumPartSize();
    const quint64 parts = partSize == 0 ? 0 : fileSize / partSize + (fileSize % partSize != 0);
    if (partSize > 0 && partSize <= TLMultipartAPIClient::kMaximumPartSize
        && parts <= TLMultipartAPIClient::kMaximumPartCount && (parts <= 1 || partSize >= minimum))
        return true;
    log(QStringLiteral("[TLMultipartUploadSession] Refusing part size %1 for a file of %2 bytes")
            .arg(partSize)
            .arg(fileSize));
    client().abortMultipartUploadForKey(key, uploadId, [](bool, const Error &) {});
    handleFailure(Error(QStringLiteral("TLMultipartUploadSession"), -1,
        QStringLiteral("The service asked for parts of %1 bytes, which cannot carry a file of %2 bytes (parts of "
                       "%3 bytes to 5 GiB, at most %4 parts).")
            .arg(partSize)
            .arg(fileSize)
            .arg(minimum)
            .arg(TLMultipartAPIClient::kMaximumPartCount)));
    return false;
}

void TLMultipartUploadSession::dropChangedUpload(const QString &change, bool afresh)
{
    const QString name = QFileInfo(m_fileURL.toLocalFile()).fileName();
    log(QStringLiteral("[TLMultipartUploadSession] %1 changed since its upload began (%2): %3")
            .arg(name, change,
                afresh ? QStringLiteral("uploading it afresh") : QStringLiteral("the upload is abandoned")));
    const QString id = uploadId();
    const QString objectKey = key();
    cancelActiveTasks();
    m_pass.clear();
    m_uploadState.reset();
    {
        QMutexLocker lock(&m_identityLock);
        m_uploadId.clear();
        m_key.clear();
    }
    TLMultipartUploadState::removeStateForUploadId(id);
    if (!id.isEmpty() && !objectKey.isEmpty())
        client().abortMultipartUploadForKey(objectKey, id, [](bool, const Error &) {});
    if (afresh) {
        initializeUpload();
        return;
    }
    handleFailure(Error(QStringLiteral("TLMultipartUploadSession"), -1,
        QStringLiteral("The file \u201c%1\u201d changed while it was being uploaded (%2).").arg(name, change)));
}

void TLMultipartUploadSession::fetchURLsAndUpload()
{
    if (m_shouldCancel || m_isPaused)
        return;
    if (!m_uploadState) {
        // Resumed before the service answered the initiate: its answer
        // carries on from here.
        if (m_initiating) {
            enterStep(Initializing);
            return;
        }
        initializeUpload();
        return;
    }
    const QString change = m_uploadState->fileChange();
    if (!change.isNull()) {
        dropChangedUpload(change, false);
        return;
    }
    enterStep(FetchingURLs);
    const QList<TLMultipartUploadPartPtr> incomplete = m_uploadState->incompleteParts();
    if (incomplete.isEmpty()) {
        completeUpload();
        return;
    }
    QList<quint64> numbers;
    for (qsizetype i = 0; i < incomplete.size() && quint64(i) < m_partURLBatchSize; ++i)
        numbers.append(incomplete[i]->partNumber());

    std::weak_ptr<TLMultipartUploadSession> weak = weak_from_this();
    client().getPresignedURLsForKey(
        key(), uploadId(), numbers, [weak](bool success, const QVariantList &parts, const Error &error) {
            auto self = weak.lock();
            if (!self || !self->m_uploadState)
                return;
            if (!success) {
                log(QStringLiteral("[TLMultipartUploadSession] Failed to get presigned URLs: %1")
                        .arg(error.toString()));
                self->handleFailure(error);
                return;
            }
            const auto &all = self->m_uploadState->parts();
            for (const QVariant &entry : parts) {
                const QVariantMap map = entry.toMap();
                const quint64 number = map.value(QStringLiteral("partNumber")).toULongLong();
                const auto it = std::find_if(
                    all.begin(), all.end(), [number](const auto &p) { return p->partNumber() == number; });
                if (it != all.end())
                    (*it)->setPresignedURL(map.value(QStringLiteral("url")).toString());
            }
            self->uploadParts();
        });
}

void TLMultipartUploadSession::uploadParts()
{
    if (m_shouldCancel || m_isPaused)
        return;
    enterStep(Uploading);
    std::deque<TLMultipartUploadPartPtr> selected;
    for (const auto &part : m_uploadState->parts()) {
        // A part whose read or cancelled PUT has not reported back yet stays
        // out of this pass; it is picked up by the next one.
        if (!part->presignedURL().isEmpty() && part->needsUpload() && !m_partsOut.contains(part->partNumber()))
            selected.push_back(part);
    }
    if (selected.empty()) {
        if (!m_uploadState->incompleteParts().isEmpty())
            fetchURLsAndUpload();
        else
            completeUpload();
        return;
    }
    log(QStringLiteral("[TLMultipartUploadSession] Uploading %1 parts").arg(selected.size()));
    m_pass = std::move(selected);
    m_passActive = true;
    pumpPass();
}

// Admits parts of the pass while fewer than four are in flight. Called when a
// pass starts and whenever one of its parts finishes; the pass ends once
// nothing is waiting or in flight.
void TLMultipartUploadSession::pumpPass()
{
    if (m_pumping)
        return; // a part finished synchronously inside the loop below
    m_pumping = true;
    while (m_inFlight < 4 && !m_pass.empty()) {
        if (m_shouldCancel || m_isPaused || m_state == Failed) {
            m_pass.clear();
            break;
        }
        TLMultipartUploadPartPtr part = m_pass.front();
        m_pass.pop_front();
        ++m_inFlight;
        m_partsOut.insert(part->partNumber());
        std::weak_ptr<TLMultipartUploadSession> weak = weak_from_this();
        uploadPart(part, [weak, number = part->partNumber()] {
            if (auto self = weak.lock()) {
                --self->m_inFlight;
                self->m_partsOut.remove(number);
                self->pumpPass();
            }
        });
    }
    m_pumping = false;
    if (m_passActive && m_inFlight == 0 && m_pass.empty()) {
        m_passActive = false;
        endPass();
    }
}

void TLMultipartUploadSession::endPass()
{
    std::weak_ptr<TLMultipartUploadSession> weak = weak_from_this();
    Dispatch::main([weak] {
        auto self = weak.lock();
        if (!self || self->m_shouldCancel || self->m_isPaused)
            return;
        self->onQueue([](TLMultipartUploadSession &s) {
            // A newer pass runs (resumed meanwhile), or the upload ended.
            if (s.m_passActive || !s.m_uploadState || s.m_state == Failed || s.m_shouldCancel || s.m_isPaused)
                return;
            for (const auto &part : s.m_uploadState->parts()) {
                if (s.m_attemptsThisRun.value(part->partNumber()) >= s.m_maxRetries)
                    return s.handleFailure(Error(QStringLiteral("TLMultipartUploadSession"), -1,
                        QStringLiteral("Part %1 failed after max retries").arg(part->partNumber())));
            }
            if (s.m_uploadState->incompleteParts().isEmpty())
                s.completeUpload();
            else
                s.fetchURLsAndUpload();
        });
    });
}

void TLMultipartUploadSession::uploadPart(const TLMultipartUploadPartPtr &part, std::function<void()> completion)
{
    if (m_shouldCancel || m_isPaused) {
        completion();
        return;
    }
    part->setState(TLMultipartUploadPart::Uploading);
    // Read off this thread, so the network keeps moving while the disk works,
    // into a buffer an earlier part has finished with when there is one.
    const QString path = m_fileURL.toLocalFile();
    const qint64 offset = qint64(part->offset());
    const qint64 length = qint64(part->length());
    QByteArray buffer;
    if (!m_spareBuffers.empty()) {
        buffer = std::move(m_spareBuffers.back());
        m_spareBuffers.pop_back();
    }
    std::weak_ptr<TLMultipartUploadSession> weak = weak_from_this();
    Dispatch::background(
        [weak, part, path, offset, length, buffer = std::move(buffer), completion = std::move(completion)]() mutable {
            QFile file(path);
            const bool opened = file.open(QIODevice::ReadOnly);
            qint64 got = 0;
            if (opened && file.seek(offset)) {
                if (buffer.capacity() < length)
                    buffer.reserve(length); // exactly: growing would round up to the next power of two
                buffer.resize(length);
                got = std::max<qint64>(file.read(buffer.data(), length), 0);
            }
            buffer.resize(got); // keeps its capacity for the next part
            file.close();
            client().queue().async(
                [weak, part, opened, data = std::move(buffer), completion = std::move(completion)]() mutable {
                    auto self = weak.lock();
                    if (!self)
                        return completion();
                    if (self->m_shouldCancel || self->m_isPaused || !self->m_uploadState || self->m_state == Failed) {
                        // Paused, aborted or ended while the disk was read: not sent.
                        part->setState(TLMultipartUploadPart::Pending);
                        self->recycleBuffer(std::move(data));
                        return completion();
                    }
                    if (!opened || quint64(data.size()) != part->length()) {
                        if (!opened)
                            log(QStringLiteral("[TLMultipartUploadSession] Failed to open file for reading"));
                        else if (data.isEmpty())
                            log(QStringLiteral("[TLMultipartUploadSession] Empty part data for part %1")
                                    .arg(part->partNumber()));
                        part->setState(TLMultipartUploadPart::Failed);
                        self->recycleBuffer(std::move(data));
                        // A file deleted or cut short cannot be resumed; one that
                        // merely cannot be read now keeps its record.
                        const QString change = self->m_uploadState->fileChange();
                        if (!change.isNull())
                            self->dropChangedUpload(change, false);
                        else
                            self->handleFailure(Error(QStringLiteral("TLMultipartUploadSession"), -1,
                                QStringLiteral("The file \u201c%1\u201d could not be read.")
                                    .arg(QFileInfo(self->m_fileURL.toLocalFile()).fileName())));
                        return completion();
                    }
                    self->m_partBuffers.insert(part->partNumber(), data);
                    const QByteArray bytes = std::move(data); // released when this returns
                    self->sendPart(part, bytes, completion);
                });
        });
}

void TLMultipartUploadSession::recycleBuffer(QByteArray buffer)
{
    // Shared still (a transfer not yet released, a copy elsewhere): let it go.
    if (buffer.capacity() > 0 && buffer.isDetached() && m_spareBuffers.size() < m_maxConcurrentPartUploads)
        m_spareBuffers.push_back(std::move(buffer));
}

void TLMultipartUploadSession::sendPart(
    const TLMultipartUploadPartPtr &part, const QByteArray &data, std::function<void()> completion)
{
    std::weak_ptr<TLMultipartUploadSession> weak = weak_from_this();
    auto task = client().uploadPartData(
        data, part->presignedURL(), m_mimeType,
        [weak, part](qint64, qint64 totalSent, qint64) {
            if (auto self = weak.lock()) {
                part->setBytesSent(quint64(totalSent));
                self->updateProgress();
            }
        },
        [weak, part, completion](bool success, const QString &etag, const Error &) {
            if (auto self = weak.lock())
                self->finishPart(part, success, etag);
            completion();
        });
    if (task)
        m_activeTasks.insert(part->partNumber(), task);
}

void TLMultipartUploadSession::finishPart(const TLMultipartUploadPartPtr &part, bool success, const QString &etag)
{
    m_activeTasks.remove(part->partNumber());
    recycleBuffer(m_partBuffers.take(part->partNumber()));
    // Aborted, or the record was dropped: nothing of this part is kept.
    if (m_shouldCancel || !m_uploadState || m_uploadState->parts().value(qsizetype(part->partNumber()) - 1) != part)
        return;
    if (success && !etag.isNull()) {
        part->setEtag(etag);
        part->setState(TLMultipartUploadPart::Completed);
        part->setBytesSent(part->length());
        log(QStringLiteral("[TLMultipartUploadSession] Part %1 completed, ETag: %2").arg(part->partNumber()).arg(etag));
        TLMultipartUploadState::saveState(*m_uploadState);
        postPartCompleteNotification(part);
        updateProgress();
        return;
    }
    part->setRetryCount(part->retryCount() + 1);
    if (!m_isPaused) // a PUT cancelled by a pause is no failed attempt of this run
        ++m_attemptsThisRun[part->partNumber()];
    if (part->retryCount() >= m_maxRetries) {
        log(QStringLiteral("[TLMultipartUploadSession] Part %1 failed after max retries").arg(part->partNumber()));
        part->setState(TLMultipartUploadPart::Failed);
    } else {
        log(QStringLiteral("[TLMultipartUploadSession] Part %1 failed, retrying (%2/%3)")
                .arg(part->partNumber())
                .arg(part->retryCount())
                .arg(m_maxRetries));
        part->setPresignedURL(QString());
        part->setState(TLMultipartUploadPart::Pending);
        // The back-off is worked out but not waited for: the part goes again
        // in the next pass, right after fresh URLs are fetched.
        (void)retryDelayForAttempt(part->retryCount());
    }
}

void TLMultipartUploadSession::completeUpload()
{
    if (m_shouldCancel)
        return;
    m_state = Completing;
    QVariantList entries;
    QList<TLMultipartUploadPartPtr> parts = m_uploadState->parts();
    std::sort(
        parts.begin(), parts.end(), [](const auto &a, const auto &b) { return a->partNumber() < b->partNumber(); });
    for (const auto &part : parts) {
        const QVariantMap entry = part->completionDictionary();
        if (!entry.isEmpty())
            entries.append(entry);
    }
    if (entries.size() < m_uploadState->parts().size()) {
        log(QStringLiteral("[TLMultipartUploadSession] Not all parts completed: %1/%2")
                .arg(entries.size())
                .arg(m_uploadState->parts().size()));
        handleFailure(Error(QStringLiteral("TLMultipartUploadSession"), -1, QStringLiteral("Not all parts completed")));
        return;
    }
    std::weak_ptr<TLMultipartUploadSession> weak = weak_from_this();
    client().completeMultipartUploadForKey(
        key(), uploadId(), entries, [weak](bool success, const QVariant &response, const Error &error) {
            auto self = weak.lock();
            if (!self)
                return;
            if (!success) {
                log(QStringLiteral("[TLMultipartUploadSession] Failed to complete upload: %1").arg(error.toString()));
                self->handleFailure(error);
                return;
            }
            log(QStringLiteral("[TLMultipartUploadSession] Upload completed successfully"));
            self->m_state = Completed;
            self->m_progress = 1.0f;
            QVariantMap record = response.toMap();
            if (!self->m_uploadState->code().isNull())
                record.insert(QStringLiteral("code"), self->m_uploadState->code());
            if (!self->m_uploadState->customDomain().isNull())
                record.insert(QStringLiteral("customDomain"), self->m_uploadState->customDomain());
            TLMultipartUploadState::removeStateForUploadId(self->uploadId());
            self->m_spareBuffers.clear();
            self->postCompletedNotification(record);
            self->callCompletion(true, record, Error());
        });
}

void TLMultipartUploadSession::handleFailure(const Error &error)
{
    if (m_shouldCancel || m_state == Failed)
        return; // the abort or the first failure has reported already
    m_state = Failed;
    m_spareBuffers.clear();
    persistCurrentState();
    postFailedNotification(error);
    callCompletion(false, {}, error);
}

void TLMultipartUploadSession::persistCurrentState()
{
    if (!m_uploadState || m_shouldCancel)
        return; // an aborted upload's record is gone for good
    m_uploadState->updateLastAttempt();
    TLMultipartUploadState::saveState(*m_uploadState);
    log(QStringLiteral("[TLMultipartUploadSession] State persisted for later resume"));
}

// Progress and notifications -------------------------------------------------

void TLMultipartUploadSession::updateProgress()
{
    if (!m_uploadState)
        return;
    double total = 0, sent = 0;
    quint64 completed = 0;
    for (const auto &part : m_uploadState->parts()) {
        total += double(part->length());
        if (part->state() == TLMultipartUploadPart::Completed) {
            sent += double(part->length());
            ++completed;
        } else {
            sent += double(part->bytesSent());
        }
    }
    m_progress = total > 0 ? float(sent / total) : 0.0f;
    m_totalBytesSent = quint64(sent);
    const double seconds = m_uploadStartTime.isValid() ? double(m_uploadStartTime.nsecsElapsed()) / 1e9 : 0.0;
    m_speed = seconds > 0 ? sent / seconds : 0.0;
    m_completedParts = completed;
    m_totalParts = quint64(m_uploadState->parts().size());

    if (m_progressHandler) {
        std::weak_ptr<TLMultipartUploadSession> weak = weak_from_this();
        Dispatch::main([weak] {
            if (auto self = weak.lock())
                self->m_progressHandler(self->m_progress, self->m_speed, self->m_completedParts, self->m_totalParts);
        });
    }
    postProgressNotification();
}

void TLMultipartUploadSession::postProgressNotification()
{
    std::weak_ptr<TLMultipartUploadSession> weak = weak_from_this();
    Dispatch::main([weak] {
        auto self = weak.lock();
        if (!self)
            return;
        NotificationCenter::defaultCenter().post(Notifications::MultipartUploadProgressNotification,
            QVariantMap { { QStringLiteral("taskId"), self->m_taskId },
                { QStringLiteral("progress"), float(self->m_progress) },
                { QStringLiteral("speed"), double(self->m_speed) },
                { QStringLiteral("bytesSent"), quint64(self->m_totalBytesSent) },
                { QStringLiteral("completedParts"), quint64(self->m_completedParts) },
                { QStringLiteral("totalParts"), quint64(self->m_totalParts) },
                { QStringLiteral("isMultipart"), true } });
    });
}

void TLMultipartUploadSession::postPartCompleteNotification(const TLMultipartUploadPartPtr &part)
{
    const QVariantMap object { { QStringLiteral("taskId"), m_taskId },
        { QStringLiteral("partNumber"), part->partNumber() },
        { QStringLiteral("totalParts"), quint64(m_uploadState->parts().size()) } };
    Dispatch::main([object] {
        NotificationCenter::defaultCenter().post(Notifications::MultipartUploadPartCompleteNotification, object);
    });
}

void TLMultipartUploadSession::postFailedNotification(const Error &error)
{
    const QVariantMap object { { QStringLiteral("taskId"), m_taskId },
        { QStringLiteral("error"), error.isNull() ? QVariant() : QVariant::fromValue(error) },
        { QStringLiteral("canResume"), true } };
    Dispatch::main([object] {
        NotificationCenter::defaultCenter().post(Notifications::MultipartUploadFailedNotification, object);
    });
}

void TLMultipartUploadSession::postCompletedNotification(const QVariantMap &response)
{
    const QVariantMap object { { QStringLiteral("taskId"), m_taskId }, { QStringLiteral("response"), response } };
    Dispatch::main([object] {
        NotificationCenter::defaultCenter().post(Notifications::MultipartUploadCompletedNotification, object);
    });
}

void TLMultipartUploadSession::callCompletion(bool success, const QVariantMap &response, const Error &error)
{
    if (!m_completionHandler)
        return;
    // The session may be released by its owner inside the handler: keep it.
    auto self = shared_from_this();
    Dispatch::main([self, success, response, error] { self->m_completionHandler(success, response, error); });
}
