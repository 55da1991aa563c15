#pragma once

#include "core/Errors.h"

#include <QByteArray>
#include <QList>
#include <QSslCertificate>
#include <QString>
#include <QUrl>

#include <chrono>
#include <optional>

namespace lumora {

// The small JSON document a publisher places at the update feed:
//   {"version": "1.5.0", "downloadURL": "https://...", "releaseNotesURL": "https://...",
//    "title": "..."}
// "releaseNotesURL" and "title" are optional; unknown members are ignored.
struct AppUpdateManifest {
    QString version;
    QUrl downloadURL;
    std::optional<QUrl> releaseNotesURL;
    std::optional<QString> title;

    bool operator==(const AppUpdateManifest& other) const = default;

    // Nothing unless `bytes` hold a JSON object with a "version" string and a "downloadURL"
    // string that forms a URL (a relative reference does); a present, non-null optional member
    // must have the right type too. Says nothing about schemes or whether the version parses.
    static std::optional<AppUpdateManifest> decode(const QByteArray& bytes);
};

// Why an update check gave no answer. One fixed text per case, shown to the user as it is.
class AppUpdateError : public Error {
public:
    enum class Case {
        invalidFeedURL,
        invalidServerResponse,
        manifestTooLarge,
        invalidManifest,
        invalidVersion,
        insecureDownloadURL,
        insecureReleaseNotesURL,
    };

    explicit AppUpdateError(Case c) : Error(descriptionOf(c)), m_case(c) {}
    Case kind() const { return m_case; }
    bool operator==(const AppUpdateError& other) const { return m_case == other.m_case; }

    static QString descriptionOf(Case c);

private:
    Case m_case;
};

// A transport failure of the update request (no network, refused connection, TLS failure,
// time-out), described in the network library's words.
class NetworkError : public Error {
public:
    using Error::Error;
};

// Validates manifests and compares versions. Stateless; safe from any thread.
class AppUpdateService {
public:
    static constexpr qsizetype maximumManifestSize = 65536;

    // True when both strings are versions and `current` orders strictly before `candidate`;
    // false otherwise, including when either does not parse.
    static bool isNewerVersion(const QString& candidate, const QString& current);

    // The manifest in `bytes` when it offers a version newer than `currentVersion`; nothing
    // when the offer is the same or older. Checks, first failure thrown as AppUpdateError:
    // size, JSON shape, offered version, current version, download scheme, release-notes scheme.
    static std::optional<AppUpdateManifest> availableUpdate(const QByteArray& bytes,
                                                            const QString& currentVersion);
};

// The feed address from a build or preference setting: blanks trimmed, it must parse as a URL
// with the scheme https (in any case). Anything else means no feed.
std::optional<QUrl> configuredUpdateFeedURL(const QString& setting);

// Fetches the feed and asks AppUpdateService whether it offers something newer. check() is
// synchronous and may be called from any thread, also one without a running event loop; each
// call uses its own network session and nothing is remembered between calls.
class AppUpdateChecker {
public:
    static constexpr std::chrono::milliseconds defaultTimeout{15000};
    static constexpr int wholeRequestTimeouts = 4;

    struct Transport {
        // A request is given up when nothing arrives for this long, or when it has not finished
        // after `wholeRequestTimeouts` times this long.
        std::chrono::milliseconds timeout = defaultTimeout;
        // Certificate authorities trusted in addition to the system's, by this checker only.
        QList<QSslCertificate> extraCaCertificates;
    };

    explicit AppUpdateChecker(std::optional<QUrl> feedURL);
    AppUpdateChecker(std::optional<QUrl> feedURL, Transport transport);

    const std::optional<QUrl>& feedURL() const { return m_feedURL; }

    // Nothing without a feed or when the feed offers no newer version. A local file feed is read
    // directly; any other feed must be https and is fetched from the network (never a cache)
    // with "Accept: application/json". Redirects are followed only to https addresses, and
    // reading stops once the body is larger than AppUpdateService::maximumManifestSize.
    // Throws AppUpdateError, FileSystemError (file feed) or NetworkError (transport).
    std::optional<AppUpdateManifest> check(const QString& currentVersion) const;

private:
    QByteArray fetch(const QUrl& url) const;

    std::optional<QUrl> m_feedURL;
    Transport m_transport;
};

} // namespace lumora
