// The trace: the same bytes in memory, in a stream and on every host, whatever a driver writes.

#include "sim/trace/Trace.h"

#include <gtest/gtest.h>
#include <sstream>

namespace sim {
namespace {

TEST(Trace, LinesAreOrderedCompleteAndSurviveAnyBytes) {
    std::uint64_t now = 5;
    Trace trace;
    std::ostringstream stream;
    trace.AttachStream(&stream);
    trace.SetClock([&] { return now; });
    trace.Record("variable", {{"op", "set"}, {"name", "A\"\\\n\u20ac"}, {"attributes", 7}});
    now = 1'000'000;
    trace.Record("debug", {{"level", 0x80000000u}, {"text", "bad \xFF\xC3 bytes\x01"}});
    trace.Record("end");

    const std::string expected = "{\"t\":5,\"event\":\"variable\",\"op\":\"set\",\"name\":"
                                 "\"A\\\"\\\\\\n\u20ac\",\"attributes\":7}\n"
                                 "{\"t\":1000000,\"event\":\"debug\",\"level\":2147483648,"
                                 "\"text\":\"bad \ufffd\ufffd bytes\\u0001\"}\n"
                                 "{\"t\":1000000,\"event\":\"end\"}\n";
    EXPECT_EQ(trace.Text(), expected);
    EXPECT_EQ(stream.str(), expected);
    EXPECT_EQ(trace.EventsOf("debug").size(), 1u);
    for (std::istringstream lines(expected); !lines.eof();) {
        std::string line;
        std::getline(lines, line);
        EXPECT_TRUE(line.empty() || Json::accept(line)) << line;
    }
}

TEST(Trace, ListenerSeesEachEventAfterItIsRecorded) {
    Trace trace;
    std::size_t recorded = 0;
    trace.SetListener([&](const Json& event) {
        EXPECT_EQ(trace.Events().back(), event);
        if (event["event"] == "first") {
            trace.Record("second"); // while the first is being announced
        }
        recorded++;
    });
    trace.Record("first");
    EXPECT_EQ(recorded, 2u);
    EXPECT_EQ(trace.Events().size(), 2u);
}

} // namespace
} // namespace sim
