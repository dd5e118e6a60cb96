// Tests the queue of a document's lists, and the list of the origins whose pages see `nrx`.

#include <gmock/gmock.h>

#include <cstdlib>

#include "simulator/log.h"
#include "web/allowed_origins.h"
#include "web/list_queue.h"

namespace web::web_queue_test {

using testing::ElementsAre;

auto lineWith(std::string const& text) {
    return testing::Field(&simulator::LogCapture::Line::text, testing::HasSubstr(text));
}

TEST(ListQueueTest, NewerListsReplaceOlderListsAboveTheBound) {
    simulator::LogCapture log;
    int wakes = 0;
    ListQueue queue([&] { ++wakes; });
    queue.setListening(ListType::COMMAND, true);
    queue.push(ListType::EVENT, std::make_shared<std::string>("not listened to"));
    queue.setListening(ListType::EVENT, true);
    queue.push(ListType::EVENT, std::make_shared<std::string>("event"));
    auto const list = [](char letter) { return std::make_shared<std::string>(ListQueue::MAX_BYTES / 4, letter); };
    for (char letter = 'a'; letter <= 'f'; ++letter) {
        queue.push(ListType::COMMAND, list(letter));
    }
    std::string order;
    while (auto const event = queue.pop()) {
        order += event->list->front();
    }
    EXPECT_EQ(order, "edef");
    EXPECT_EQ(wakes, 1);
    EXPECT_THAT(log.take(), ElementsAre(lineWith("older lists give way"), lineWith("in time: 3")));
    queue.push(ListType::COMMAND, list('g'));
    queue.close();
    queue.push(ListType::COMMAND, list('h'));
    EXPECT_EQ(wakes, 2);
    EXPECT_FALSE(queue.pop());
}

TEST(AllowedOriginsTest, OnlyTheOriginsListedSeeNrx) {
    simulator::LogCapture log;
    ::setenv("NRX_WEB_ORIGINS",
             " http://a.example\thttps://a.example:8443  file:// ftp://a.example http:// null * "
             "http://b.example/ https://user@b.example http://a.example:80 https://A.example",
             1);
    AllowedOrigins const allowed = AllowedOrigins::fromEnvironment();
    EXPECT_EQ(log.take().size(), 8U);
    using Page = std::pair<char const*, char const*>;  // The page's protocol and origin.
    for (auto const& [protocol, origin] : {Page("http:", "http://a.example"), Page("https:", "https://a.example:8443"),
                                           Page("file:", "null"), Page("file:", "file://")}) {
        EXPECT_TRUE(allowed.allows(protocol, origin)) << protocol << ' ' << origin;
    }
    for (auto const& [protocol, origin] :
         {Page("https:", "https://a.example"), Page("http:", "http://a.example:8443"),
          Page("http:", "http://a.example.org"), Page("http:", "null"), Page("blob:", "http://a.example"),
          Page("data:", "null"), Page("about:", "http://a.example"), Page("http:", "http://b.example")}) {
        EXPECT_FALSE(allowed.allows(protocol, origin)) << protocol << ' ' << origin;
    }
    ::unsetenv("NRX_WEB_ORIGINS");
    EXPECT_TRUE(AllowedOrigins::fromEnvironment().isEmpty());
    EXPECT_THAT(log.take(), ElementsAre(lineWith("no page sees nrx")));
}

}  // namespace web::web_queue_test
