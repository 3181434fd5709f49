// SPDX-License-Identifier: Apache-2.0
#include "child.hpp"
#include "endpoint.hpp"
#include "http_client.hpp"
#include "open_metrics.hpp"
#include "temporary_folder.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <csignal>
#include <list>
#include <stdexcept>

namespace healthintf::exporter
{
namespace
{

using test::Child;
using test::HttpClient;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

class EndpointTest : public testing::Test
{
  protected:
    explicit EndpointTest(Endpoint::Scrape scrape =
                              [] {
                                  return "all\n";
                              }) :
        server([this, scrape = std::move(scrape)](const Child::Parent& parent) {
            services::EventLoop loop;
            loop.exitOn({SIGTERM});
            const Listener listener{std::filesystem::path(path)};
            const Endpoint endpoint(loop, listener, scrape);
            parent.tell("listening");
            return loop.run();
        })
    {
        server.hear();
    }

    /** The answer to a complete request. */
    std::string answerTo(const std::string& request) const
    {
        const HttpClient client(path);
        client.send(request);
        return client.rest();
    }

    std::string get(const std::string& url) const
    {
        return answerTo("GET " + url + " HTTP/1.1\r\nHost: x\r\n\r\n");
    }

    void expectAlive() const
    {
        EXPECT_THAT(get("/metrics"), EndsWith("\r\n\r\nall\n"));
    }

    test::TemporaryFolder folder;
    std::string path = folder.path() / "socket";
    Child server;
};

TEST_F(EndpointTest, ServesTheScrapeWithItsContentType)
{
    const std::string answer = get("/metrics");
    EXPECT_THAT(answer, StartsWith("HTTP/1.1 200 OK\r\n"));
    EXPECT_THAT(answer, HasSubstr(std::string("\r\nContent-Type: ") +
                                  openMetricsType + "\r\n"));
    EXPECT_THAT(answer, HasSubstr("\r\nContent-Length: 4\r\n"));
    EXPECT_THAT(answer, EndsWith("\r\n\r\nall\n"));
}

TEST_F(EndpointTest, IgnoresAQueryString)
{
    EXPECT_THAT(get("/metrics?a=b"), EndsWith("\r\n\r\nall\n"));
}

TEST_F(EndpointTest, AnswersAWholeUrlAsItsPath)
{
    for (const char* url :
         {"http://localhost:9942/metrics", "http://[::1]:9942/metrics?a=b",
          "HTTP://x/metrics"})
    {
        EXPECT_THAT(get(url), EndsWith("\r\n\r\nall\n")) << url;
    }
    for (const char* url : {"http://x", "http://x/", "http://x//metrics",
                            "http:///metrics/", "ftp://x/metrics", "http:/x"})
    {
        EXPECT_THAT(get(url), StartsWith("HTTP/1.1 404 ")) << url;
    }
}

TEST_F(EndpointTest, AnswersHeadWithoutABody)
{
    const std::string answer =
        answerTo("HEAD /metrics HTTP/1.1\r\nHost: x\r\n\r\n");
    EXPECT_THAT(answer, StartsWith("HTTP/1.1 200 OK\r\n"));
    EXPECT_THAT(answer, EndsWith("\r\n\r\n"));
}

TEST_F(EndpointTest, AnswersOtherPathsWithNotFound)
{
    for (const char* url : {"/", "/metrics/", "/../etc/passwd", "/%00"})
    {
        EXPECT_THAT(get(url), StartsWith("HTTP/1.1 404 ")) << url;
    }
    expectAlive();
}

TEST_F(EndpointTest, RefusesOtherMethods)
{
    for (const std::string method : {"POST", "PUT", "DELETE", "OPTIONS", "X"})
    {
        const std::string answer = answerTo(
            method + " /metrics HTTP/1.1\r\nHost: x\r\nContent-Length: "
                     "0\r\n\r\n");
        EXPECT_THAT(answer, StartsWith("HTTP/1.1 405 ")) << method;
        EXPECT_THAT(answer, HasSubstr("\r\nAllow: GET, HEAD\r\n"));
    }
    expectAlive();
}

TEST_F(EndpointTest, RefusesABody)
{
    const std::string answer = answerTo(
        "POST /metrics HTTP/1.1\r\nHost: x\r\nContent-Length: 1000000000\r\n"
        "\r\nabc");
    EXPECT_THAT(answer, StartsWith("HTTP/1.1 405 "));
    expectAlive();
}

TEST_F(EndpointTest, RefusesHeadersBeyondItsLimit)
{
    const std::string answer = answerTo(
        "GET /metrics HTTP/1.1\r\nHost: x\r\nA: " + std::string(100'000, 'x') +
        "\r\n\r\n");
    EXPECT_THAT(answer, Not(HasSubstr("all\n")));
    expectAlive();
}

TEST_F(EndpointTest, RefusesTooManyHeaders)
{
    std::string request = "GET /metrics HTTP/1.1\r\nHost: x\r\n";
    for (int i = 0; i < 2000; ++i)
    {
        request += "A" + std::to_string(i) + ": x\r\n";
    }
    EXPECT_THAT(answerTo(request + "\r\n"), Not(HasSubstr("all\n")));
    expectAlive();
}

TEST_F(EndpointTest, SurvivesGarbage)
{
    for (const std::string& garbage :
         {std::string("\r\n\r\n\r\n\r\n"), std::string("GET\r\n\r\n"),
          std::string("\x16\x03\x01\x02\x00\x01", 6) + "\r\n\r\n",
          std::string(5000, '\0') + "\r\n\r\n",
          std::string("GET /metrics HTTP/9.9\r\n\r\n")})
    {
        const HttpClient client(path);
        client.send(garbage);
        expectAlive();
    }
}

TEST_F(EndpointTest, ServesOthersBesideUnfinishedRequests)
{
    std::list<HttpClient> half;
    for (unsigned int i = 0; i + 1 < Endpoint::mostConnections; ++i)
    {
        EXPECT_TRUE(half.emplace_back(path).send("GET /metrics HT"));
    }
    expectAlive();
}

TEST_F(EndpointTest, ClosesUnfinishedRequestsSoThatAllAreServed)
{
    std::list<HttpClient> half;
    for (unsigned int i = 0; i < 2 * Endpoint::mostConnections; ++i)
    {
        EXPECT_TRUE(half.emplace_back(path).send("GET /metrics HT"));
    }
    expectAlive();
}

/** Connections that send nothing. */
class Crowd
{
  public:
    explicit Crowd(const std::string& path)
    {
        rlimit limit{};
        getrlimit(RLIMIT_NOFILE, &limit);
        limit.rlim_cur = limit.rlim_max;
        setrlimit(RLIMIT_NOFILE, &limit);
        for (int i = 0; i < 1000; ++i)
        {
            clients.emplace_back(path);
        }
    }

    void sendToEach(const std::string& text) const
    {
        for (const HttpClient& each : clients)
        {
            each.send(text);
        }
    }

  private:
    std::list<HttpClient> clients;
};

TEST_F(EndpointTest, ServesAScrapeBesideAThousandIdleConnections)
{
    const Crowd crowd(path);
    const auto begin = std::chrono::steady_clock::now();
    expectAlive();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, Endpoint::longest / 2)
        << "it has waited for their end";
}

TEST_F(EndpointTest, ServesAScrapeBesideAThousandSlowConnections)
{
    const Crowd crowd(path);
    const auto begin = std::chrono::steady_clock::now();
    for (const char* byte : {"G", "E", "T", " ", "/"})
    {
        crowd.sendToEach(byte);
        expectAlive();
    }
    EXPECT_LT(std::chrono::steady_clock::now() - begin, Endpoint::longest / 2)
        << "it has waited for their end";
}

TEST_F(EndpointTest, ClosesTheOldestOfTooManyIdleConnections)
{
    std::list<HttpClient> idle;
    for (unsigned int i = 0; i < Endpoint::mostConnections; ++i)
    {
        idle.emplace_back(path);
    }
    EXPECT_FALSE(idle.front().ended(std::chrono::milliseconds(0)));
    expectAlive();
    EXPECT_TRUE(idle.front().ended(std::chrono::seconds(2)));
    idle.pop_front();
    for (const HttpClient& each : idle)
    {
        EXPECT_FALSE(each.ended(std::chrono::milliseconds(0)));
    }
}

TEST_F(EndpointTest, ClosesAnIdleConnection)
{
    const HttpClient idle(path);
    EXPECT_TRUE(idle.ended(std::chrono::seconds(10)));
}

TEST_F(EndpointTest, ClosesARequestThatComesByteByByte)
{
    const HttpClient slow(path);
    const auto begin = std::chrono::steady_clock::now();
    slow.send("GET /metrics HTTP/1.1\r\nA: ");
    // A client that slow stays within every other limit.
    while (!slow.ended(std::chrono::milliseconds(200)))
    {
        ASSERT_LT(std::chrono::steady_clock::now() - begin,
                  Endpoint::longest + std::chrono::seconds(5));
        slow.send("x");
    }
    EXPECT_GE(std::chrono::steady_clock::now() - begin, Endpoint::longest);
}

class FailingScrape : public EndpointTest
{
  protected:
    FailingScrape() :
        EndpointTest([calls = 0]() mutable -> std::string {
            if (++calls == 1)
            {
                throw std::runtime_error("for once");
            }
            return "all\n";
        })
    {}
};

TEST_F(FailingScrape, LeavesOtherRequestsAlone)
{
    EXPECT_EQ(get("/metrics"), "");
    expectAlive();
}

class LargeScrape : public EndpointTest
{
  protected:
    /** More than the socket's buffers hold. */
    static constexpr std::size_t size = 1'000'000;

    LargeScrape() :
        EndpointTest([] {
            return std::string(size, 'x') + "all\n";
        })
    {}
};

TEST_F(LargeScrape, IsNotCutOffForIdleConnections)
{
    const HttpClient reader(path);
    reader.send("GET /metrics HTTP/1.1\r\nHost: x\r\n\r\n");
    const Crowd crowd(path);
    EXPECT_THAT(reader.rest(), EndsWith("xall\n"));
}

TEST_F(LargeScrape, IsServedBesideClientsThatDoNotRead)
{
    std::list<HttpClient> readers;
    for (unsigned int i = 0; i < 2 * Endpoint::mostConnections; ++i)
    {
        readers.emplace_back(path).send(
            "GET /metrics HTTP/1.1\r\nHost: x\r\n\r\n");
    }
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_THAT(get("/metrics"), EndsWith("xall\n"));
    EXPECT_LT(std::chrono::steady_clock::now() - begin, Endpoint::longest / 2)
        << "it has waited for their end";
}

TEST_F(LargeScrape, IsServedCompletely)
{
    const std::string answer = get("/metrics");
    EXPECT_EQ(answer.size() - answer.find("\r\n\r\n") - 4, size + 4);
    EXPECT_THAT(answer, EndsWith("xall\n"));
}

} // namespace
} // namespace healthintf::exporter
