// The update checker against a real TLS server on the loopback address, with a certificate made
// for the test and trusted only by the checkers under test.
#include "LocalHttpsServer.h"
#include "core/AppUpdate.h"
#include "support/TestSupport.h"

#include <QCoreApplication>
#include <QTcpServer>
#include <QThread>

#include <gtest/gtest.h>
#include <memory>
#include <sys/resource.h>

using namespace lumora;
using namespace lumora::test;
using namespace std::chrono_literals;
using Answer = LocalHttpsServer::Answer;

namespace {

const QByteArray goodManifest =
    R"({"version": "1.5.0", "downloadURL": "https://example.com/lumora-1.5.0.tar.gz"})";

// One check as text: "offer <version>", "nothing", "error: ..." or "network: ...".
std::string outcome(const AppUpdateChecker& checker) {
    try {
        const auto offer = checker.check("1.0");
        return offer ? "offer " + offer->version.toStdString() : "nothing";
    } catch (const AppUpdateError& error) {
        return "error: " + error.description().toStdString();
    } catch (const NetworkError& error) {
        return "network: " + error.description().toStdString();
    }
}

std::string error(AppUpdateError::Case c) {
    return "error: " + AppUpdateError::descriptionOf(c).toStdString();
}

long peakResidentKilobytes() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

class UpdateFeedOverHttps : public ::testing::Test {
protected:
    static void SetUpTestSuite() { certificates = TestCertificates::make(); }
    void SetUp() override {
        ASSERT_TRUE(certificates) << "no test certificates";
        server.emplace(*certificates);
    }

    AppUpdateChecker checker(const QUrl& feed, std::chrono::milliseconds timeout = 15s) const {
        return AppUpdateChecker(feed, {timeout, {certificates->authority}});
    }
    AppUpdateChecker checker(const QString& path) const { return checker(server->url(path)); }

    static inline std::optional<TestCertificates> certificates;
    std::optional<LocalHttpsServer> server;
};

} // namespace

TEST_F(UpdateFeedOverHttps, GoodManifestIsFetchedFreshAsJson) {
    server->answer("/feed.json", {"200 OK", "Content-Type: application/json\r\n", goodManifest});
    EXPECT_EQ(outcome(checker("/feed.json")), "offer 1.5.0");
    ASSERT_EQ(server->requests().size(), 1);
    const QByteArray request = server->requests().first().toLower();
    EXPECT_TRUE(request.startsWith("get /feed.json http/1.1\r\n")) << request.toStdString();
    EXPECT_TRUE(request.contains("\r\naccept: application/json")) << request.toStdString();
    EXPECT_TRUE(request.contains("\r\ncache-control: no-cache")) << request.toStdString();

    // A worker thread without a running event loop, as the application uses it.
    std::string fromWorker;
    const std::unique_ptr<QThread> worker(
        QThread::create([&] { fromWorker = outcome(checker("/feed.json")); }));
    worker->start();
    worker->wait();
    EXPECT_EQ(fromWorker, "offer 1.5.0");

    // Redirects between https addresses are followed; exactly the size limit is still read.
    QByteArray largest = goodManifest;
    largest.append(AppUpdateService::maximumManifestSize - largest.size(), ' ');
    server->answer("/old.json",
                   {"301 Moved Permanently", "Location: /largest.json\r\n", "<a>moved</a>"});
    server->answer("/largest.json", {"200 OK", {}, largest});
    EXPECT_EQ(outcome(checker("/old.json")), "offer 1.5.0");
}

TEST_F(UpdateFeedOverHttps, UnusableAnswersAreRefused) {
    using Case = AppUpdateError::Case;
    // Anything that is not a 2xx answer, whatever its body says.
    server->answer("/not-modified.json", {"304 Not Modified", {}, {}});
    server->answer("/server-error.json", {"500 Internal Server Error", {}, goodManifest});
    server->answer("/huge-error.json", {"404 Not Found", {}, {}, 50LL * 1024 * 1024, false});
    EXPECT_EQ(outcome(checker("/missing.json")), error(Case::invalidServerResponse));
    EXPECT_EQ(outcome(checker("/not-modified.json")), error(Case::invalidServerResponse));
    EXPECT_EQ(outcome(checker("/server-error.json")), error(Case::invalidServerResponse));
    EXPECT_EQ(outcome(checker("/huge-error.json")), error(Case::invalidServerResponse));

    QByteArray tooLarge = goodManifest;
    tooLarge.append(AppUpdateService::maximumManifestSize + 1 - tooLarge.size(), ' ');
    server->answer("/too-large.json", {"200 OK", {}, tooLarge});
    server->answer("/page.html", {"200 OK", {}, "<html>Hello</html>"});
    EXPECT_EQ(outcome(checker("/too-large.json")), error(Case::manifestTooLarge));
    EXPECT_EQ(outcome(checker("/page.html")), error(Case::invalidManifest));

    // A redirect to plain http is not followed at all: the http server never hears from us.
    QTcpServer plain;
    ASSERT_TRUE(plain.listen(QHostAddress::LocalHost));
    int plainConnections = 0;
    QObject::connect(&plain, &QTcpServer::newConnection, [&] { ++plainConnections; });
    const QByteArray target = "http://127.0.0.1:" + QByteArray::number(plain.serverPort());
    server->answer("/to-http.json", {"302 Found", "Location: " + target + "/feed.json\r\n", {}});
    EXPECT_EQ(outcome(checker("/to-http.json")), error(Case::invalidServerResponse));
    QCoreApplication::processEvents();
    EXPECT_EQ(plainConnections, 0);
    EXPECT_FALSE(plain.hasPendingConnections());
}

TEST_F(UpdateFeedOverHttps, HugeBodyIsCutOffEarly) {
    constexpr qint64 fiftyMegabytes = 50LL * 1024 * 1024;
    server->answer("/huge.json", {"200 OK", {}, {}, fiftyMegabytes, false});
    const long peakBefore = peakResidentKilobytes();

    EXPECT_EQ(outcome(checker("/huge.json")), error(AppUpdateError::Case::manifestTooLarge));

    // The server sees the connection closed long before it could hand everything over.
    const auto end = server->waitForStreamEnd(30000);
    ASSERT_TRUE(end) << "the connection was never closed";
    EXPECT_FALSE(end->complete);
    EXPECT_LT(end->bytesHandedOver, fiftyMegabytes / 10) << end->bytesHandedOver;
    EXPECT_LT(peakResidentKilobytes() - peakBefore, 20 * 1024);
}

TEST_F(UpdateFeedOverHttps, SilentServersTimeOut) {
    server->answer("/silent.json", {"200 OK", {}, {}, 0, true});
    server->answer("/to-silent.json", {"302 Found", "Location: /silent.json\r\n", {}});
    for (const char* path : {"/silent.json", "/to-silent.json"}) {
        EXPECT_EQ(outcome(checker(server->url(path), 300ms)), "network: The request timed out.")
            << path;
    }

    // A listener that accepts the connection but never even starts the TLS handshake.
    QTcpServer mute;
    ASSERT_TRUE(mute.listen(QHostAddress::LocalHost));
    const QUrl muteFeed(QStringLiteral("https://127.0.0.1:%1/feed.json").arg(mute.serverPort()));
    EXPECT_EQ(outcome(checker(muteFeed, 300ms)), "network: The request timed out.");
}

TEST_F(UpdateFeedOverHttps, TestAuthorityIsTrustedOnlyByTheCheckerGivenIt) {
    server->answer("/feed.json", {"200 OK", {}, goodManifest});
    EXPECT_EQ(outcome(checker("/feed.json")), "offer 1.5.0");
    const std::string untrusted = outcome(AppUpdateChecker(server->url("/feed.json")));
    EXPECT_TRUE(untrusted.starts_with("network: ")) << untrusted;
    EXPECT_EQ(server->requests().size(), 1); // no request went over the untrusted connection
}
