#include "core/AppUpdate.h"

#include "core/ParsedVersion.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonValue>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QSslConfiguration>
#include <QTimer>

#include <memory>

namespace lumora {
namespace {

bool hasHttpsScheme(const QUrl& url) {
    return url.scheme().compare(QLatin1String("https"), Qt::CaseInsensitive) == 0;
}

bool isAbsent(const QJsonValue& value) {
    return value.isUndefined() || value.isNull();
}

std::optional<QUrl> urlFrom(const QJsonValue& value) {
    if (!value.isString()) {
        return std::nullopt;
    }
    const QUrl url(value.toString(), QUrl::StrictMode);
    if (!url.isValid() || url.isEmpty()) {
        return std::nullopt;
    }
    return url;
}

QByteArray readLocalFeed(const QString& path) {
    QFile file(path);
    // One byte past the limit is enough to know that the manifest is too large, and keeps a
    // device or an endless file from being read without end.
    QByteArray content;
    if (file.open(QIODevice::ReadOnly)) {
        content = file.read(AppUpdateService::maximumManifestSize + 1);
    }
    if (file.error() != QFileDevice::NoError) {
        throw FileSystemError(
            QCoreApplication::translate("Messages", "Could not read \u201c%1\u201d: %2")
                .arg(path, file.errorString()));
    }
    return content;
}

} // namespace

std::optional<AppUpdateManifest> AppUpdateManifest::decode(const QByteArray& bytes) {
    QJsonParseError parseError{};
    const QJsonDocument document = QJsonDocument::fromJson(bytes, &parseError);
    if (parseError.error != QJsonParseError::NoError || !document.isObject()) {
        return std::nullopt;
    }
    const QJsonObject object = document.object();
    const QJsonValue version = object.value(QLatin1String("version"));
    const std::optional<QUrl> downloadURL = urlFrom(object.value(QLatin1String("downloadURL")));
    if (!version.isString() || !downloadURL) {
        return std::nullopt;
    }
    AppUpdateManifest manifest{version.toString(), *downloadURL, std::nullopt, std::nullopt};

    const QJsonValue releaseNotes = object.value(QLatin1String("releaseNotesURL"));
    if (!isAbsent(releaseNotes)) {
        manifest.releaseNotesURL = urlFrom(releaseNotes);
        if (!manifest.releaseNotesURL) {
            return std::nullopt;
        }
    }
    const QJsonValue title = object.value(QLatin1String("title"));
    if (!isAbsent(title)) {
        if (!title.isString()) {
            return std::nullopt;
        }
        manifest.title = title.toString();
    }
    return manifest;
}

QString AppUpdateError::descriptionOf(Case c) {
    switch (c) {
    case Case::invalidFeedURL:
        return QStringLiteral(QT_TRANSLATE_NOOP("Messages", "The update feed must use HTTPS."));
    case Case::invalidServerResponse:
        return QStringLiteral(
            QT_TRANSLATE_NOOP("Messages", "The update server did not return a valid response."));
    case Case::manifestTooLarge:
        return QStringLiteral(
            QT_TRANSLATE_NOOP("Messages", "The update information is unexpectedly large."));
    case Case::invalidManifest:
        return QStringLiteral(QT_TRANSLATE_NOOP("Messages", "The update information is invalid."));
    case Case::invalidVersion:
        return QStringLiteral(QT_TRANSLATE_NOOP("Messages", "The update version is invalid."));
    case Case::insecureDownloadURL:
        return QStringLiteral(QT_TRANSLATE_NOOP("Messages", "The update download must use HTTPS."));
    case Case::insecureReleaseNotesURL:
        return QStringLiteral(QT_TRANSLATE_NOOP("Messages", "The release notes must use HTTPS."));
    }
    return {};
}

bool AppUpdateService::isNewerVersion(const QString& candidate, const QString& current) {
    const std::optional<ParsedVersion> offered = ParsedVersion::parse(candidate);
    if (!offered) {
        return false;
    }
    const std::optional<ParsedVersion> running = ParsedVersion::parse(current);
    return running && *running < *offered;
}

std::optional<AppUpdateManifest> AppUpdateService::availableUpdate(const QByteArray& bytes,
                                                                   const QString& currentVersion) {
    using Case = AppUpdateError::Case;
    if (bytes.size() > maximumManifestSize) {
        throw AppUpdateError(Case::manifestTooLarge);
    }
    std::optional<AppUpdateManifest> manifest = AppUpdateManifest::decode(bytes);
    if (!manifest) {
        throw AppUpdateError(Case::invalidManifest);
    }
    const std::optional<ParsedVersion> offered = ParsedVersion::parse(manifest->version);
    if (!offered) {
        throw AppUpdateError(Case::invalidVersion);
    }
    // The same error for both sides: the user cannot tell which one failed anyway.
    const std::optional<ParsedVersion> running = ParsedVersion::parse(currentVersion);
    if (!running) {
        throw AppUpdateError(Case::invalidVersion);
    }
    if (!hasHttpsScheme(manifest->downloadURL)) {
        throw AppUpdateError(Case::insecureDownloadURL);
    }
    if (manifest->releaseNotesURL && !hasHttpsScheme(*manifest->releaseNotesURL)) {
        throw AppUpdateError(Case::insecureReleaseNotesURL);
    }
    if (*running < *offered) {
        return manifest;
    }
    return std::nullopt;
}

std::optional<QUrl> configuredUpdateFeedURL(const QString& setting) {
    const QString trimmed = setting.trimmed();
    if (trimmed.isEmpty()) {
        return std::nullopt;
    }
    const QUrl url(trimmed, QUrl::StrictMode);
    if (!url.isValid() || !hasHttpsScheme(url)) {
        return std::nullopt;
    }
    return url;
}

AppUpdateChecker::AppUpdateChecker(std::optional<QUrl> feedURL)
    : AppUpdateChecker(std::move(feedURL), Transport{}) {}

AppUpdateChecker::AppUpdateChecker(std::optional<QUrl> feedURL, Transport transport)
    : m_feedURL(std::move(feedURL)), m_transport(std::move(transport)) {}

std::optional<AppUpdateManifest> AppUpdateChecker::check(const QString& currentVersion) const {
    if (!m_feedURL) {
        return std::nullopt;
    }
    QByteArray body;
    if (m_feedURL->isLocalFile()) {
        body = readLocalFeed(m_feedURL->toLocalFile());
    } else if (!hasHttpsScheme(*m_feedURL)) {
        throw AppUpdateError(AppUpdateError::Case::invalidFeedURL);
    } else {
        body = fetch(*m_feedURL);
    }
    return AppUpdateService::availableUpdate(body, currentVersion);
}

// Performs one GET with a session of its own and waits for it in a local event loop, so that it
// works on any thread. Returns at most maximumManifestSize + 1 bytes of body: a longer body is
// cut off right there and the connection dropped, which availableUpdate then reports as too
// large.
QByteArray AppUpdateChecker::fetch(const QUrl& url) const {
    constexpr qsizetype enough = AppUpdateService::maximumManifestSize + 1;

    QNetworkRequest request(url);
    request.setRawHeader("Accept", "application/json");
    request.setAttribute(QNetworkRequest::CacheLoadControlAttribute,
                         QNetworkRequest::AlwaysNetwork);
    request.setAttribute(QNetworkRequest::CacheSaveControlAttribute, false);
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute,
                         QNetworkRequest::UserVerifiedRedirectPolicy);
    if (!m_transport.extraCaCertificates.isEmpty()) {
        QSslConfiguration tls = QSslConfiguration::defaultConfiguration();
        tls.addCaCertificates(m_transport.extraCaCertificates);
        request.setSslConfiguration(tls);
    }

    QNetworkAccessManager manager;
    const std::unique_ptr<QNetworkReply> reply(manager.get(request));
    // Keeps the network layer from reading far ahead of us into memory.
    reply->setReadBufferSize(enough);

    enum class Stop { none, timedOut, insecureRedirect, tooLarge };
    Stop stop = Stop::none;
    QByteArray body;
    const auto halt = [&](Stop reason) {
        if (stop == Stop::none) {
            stop = reason;
            reply->abort();
        }
    };
    QEventLoop loop;
    // Our own idle timer rather than QNetworkRequest's transfer time-out, which Qt 6.4 drops
    // when it follows a redirect: a redirect to a silent server would then wait for ever.
    QTimer idle;
    idle.setSingleShot(true);
    idle.setInterval(m_transport.timeout);
    QObject::connect(&idle, &QTimer::timeout, &loop, [&] { halt(Stop::timedOut); });
    // And a limit for the whole request, so that a server trickling a byte now and then cannot
    // hold a worker thread for hours.
    QTimer whole;
    whole.setSingleShot(true);
    whole.setInterval(m_transport.timeout * AppUpdateChecker::wholeRequestTimeouts);
    QObject::connect(&whole, &QTimer::timeout, &loop, [&] { halt(Stop::timedOut); });

    const auto take = [&] {
        idle.start();
        if (stop != Stop::none) {
            return;
        }
        // Error pages are read the same bounded way; the status decides afterwards. (Aborting a
        // reply whose status already reports an error makes Qt report that error twice.)
        body += reply->read(enough - body.size());
        if (body.size() >= enough) {
            halt(Stop::tooLarge);
        }
    };
    QObject::connect(reply.get(), &QNetworkReply::redirected, &loop, [&](const QUrl& target) {
        if (hasHttpsScheme(reply->url().resolved(target))) {
            idle.start();
            body.clear();
            emit reply->redirectAllowed();
        } else {
            halt(Stop::insecureRedirect);
        }
    });
    QObject::connect(reply.get(), &QNetworkReply::metaDataChanged, &idle,
                     qOverload<>(&QTimer::start));
    QObject::connect(reply.get(), &QNetworkReply::readyRead, &loop, take);
    QObject::connect(reply.get(), &QNetworkReply::finished, &loop, &QEventLoop::quit);
    if (!reply->isFinished()) {
        idle.start();
        whole.start();
        loop.exec();
    }
    if (reply->bytesAvailable() > 0) {
        take();
    }

    if (stop == Stop::timedOut) {
        throw NetworkError(QStringLiteral(QT_TRANSLATE_NOOP("Messages", "The request timed out.")));
    }
    const QVariant status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
    const bool success = status.toInt() >= 200 && status.toInt() <= 299;
    if (stop == Stop::insecureRedirect || (status.isValid() && !success)) {
        throw AppUpdateError(AppUpdateError::Case::invalidServerResponse);
    }
    if (stop == Stop::tooLarge) {
        return body;
    }
    if (reply->error() != QNetworkReply::NoError) {
        throw NetworkError(reply->errorString());
    }
    if (!status.isValid() || !hasHttpsScheme(reply->url())) {
        throw AppUpdateError(AppUpdateError::Case::invalidServerResponse);
    }
    return body;
}

} // namespace lumora
