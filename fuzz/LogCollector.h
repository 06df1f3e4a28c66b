// LogCollector: a deserializer for the fuzz targets that keeps every event
// and walks the input alongside them, so that each plain line is checked to
// be the next stretch of input up to its line end and each record to be a
// header and its N bytes: together they account for every input byte.
#ifndef QEL_FUZZ_LOG_COLLECTOR_H
#define QEL_FUZZ_LOG_COLLECTOR_H

#include <string>
#include <vector>

#include "QELLogDeserializer.h"
#include "FuzzCheck.h"

namespace fuzz {

const char HEADER_START[] = "<!-- QELLog size=";
const size_t HEADER_LENGTH = 29;

struct Seen {
    int type;
    std::string message, code, stackTrace;
    QELDate timestamp; // not compared: a plain line is stamped with the current time
    bool operator==(const Seen& o) const
    {
        return type == o.type && message == o.message && code == o.code && stackTrace == o.stackTrace;
    }
};

// Collects the events and walks the input alongside them.
class Collector : public QELLogDeserializer {
public:
    const std::string& input;
    size_t offset = 0;
    bool flushing = false;
    std::vector<Seen> events;

    explicit Collector(const std::string& in) : QELLogDeserializer(nullptr), input(in) {}

    void processEvent(const QELLogEvent& event) override
    {
        FUZZ_CHECK(event.type >= 0 && event.type <= 6);
        events.push_back({event.type, std::string(event.message.p, event.message.len),
                          std::string(event.code.p, event.code.len),
                          std::string(event.stackTrace.p, event.stackTrace.len), event.timestamp});
        if (state == 3) {
            // A record: its header and its recordSize bytes, then any run of
            // line ends, are consumed.
            FUZZ_CHECK(recordSize >= 10);
            FUZZ_CHECK(input.compare(offset, sizeof HEADER_START - 1, HEADER_START) == 0);
            offset += HEADER_LENGTH + static_cast<size_t>(recordSize);
            FUZZ_CHECK(offset <= input.size());
            while (offset < input.size() && (input[offset] == '\r' || input[offset] == '\n'))
                offset++;
            return;
        }
        // A plain line: exactly the next bytes of the input, then its line end.
        FUZZ_CHECK(state == 2);
        FUZZ_CHECK(event.type == 0);
        const std::string& m = events.back().message;
        FUZZ_CHECK(m.find_first_of("\r\n") == std::string::npos);
        FUZZ_CHECK(input.compare(offset, m.size(), m) == 0);
        offset += m.size();
        if (offset == input.size()) {
            FUZZ_CHECK(flushing); // only flush delivers a line without its end
            return;
        }
        if (input[offset] == '\n') {
            offset++;
        } else {
            FUZZ_CHECK(input[offset] == '\r');
            offset++;
            if (offset < input.size() && input[offset] == '\r')
                offset++;
            if (offset < input.size() && input[offset] == '\n')
                offset++;
        }
    }
};

} // namespace fuzz

#endif
