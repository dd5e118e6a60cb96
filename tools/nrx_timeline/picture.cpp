#include <algorithm>
#include <iterator>
#include <string_view>
#include <utility>

#include "television/printable.h"
#include "tools/nrx_timeline/output.h"

namespace nrx_timeline {

namespace {

// Lengths in pixels.
constexpr std::size_t TIME_WIDTH = 90;
constexpr std::size_t LANE_WIDTH = 680;
constexpr std::size_t HEAD_HEIGHT = 24;
constexpr std::size_t LINE_HEIGHT = 16;
constexpr std::size_t TEXT_OFFSET = 12;  ///< From the top of a line to the baseline of its text.
constexpr std::size_t CHARACTER_WIDTH = 7;
constexpr std::size_t INDENT = 10;
constexpr std::size_t MOST_INDENT = 20 * INDENT;
constexpr std::size_t MARGIN = 16;

constexpr std::int64_t SHORTEST_WAIT = 10'000;  ///< The shortest wait that is drawn between rows, in microseconds.

constexpr char MESSAGE_COLOUR[] = "#d9730d";
constexpr char ERROR_COLOUR[] = "#c00000";
constexpr char WAIT_COLOUR[] = "#eeeeee";

/// Makes the text printable and escapes the characters of XML markup, and U+FFFE and U+FFFF, which XML does not permit.
std::string escaped(std::string_view untrusted) {
    constexpr std::pair<std::string_view, std::string_view> ESCAPES[] = {
        {"&", "&amp;"},
        {"<", "&lt;"},
        {">", "&gt;"},
        {"\"", "&quot;"},
        {"'", "&apos;"},
        {"\xEF\xBF\xBE", "\\uFFFE"},
        {"\xEF\xBF\xBF", "\\uFFFF"},
    };
    std::string const text = television::printable(untrusted);
    std::string result;
    for (std::string_view rest = text; !rest.empty();) {
        auto const* const found = std::find_if(std::begin(ESCAPES), std::end(ESCAPES),
                                               [rest](auto const& escape) { return rest.starts_with(escape.first); });
        bool const plain = found == std::end(ESCAPES);
        result += plain ? rest.substr(0, 1) : found->second;
        rest.remove_prefix(plain ? 1 : found->first.size());
    }
    return result;
}

/// Returns `number` with a decimal point before the last `places` digits: 1234 with 3 places becomes "1.234".
std::string decimal(std::int64_t number, std::size_t places) {
    std::string digits = std::to_string(number);
    digits.insert(0, digits.size() <= places ? places + 1 - digits.size() : 0, '0');
    return digits.insert(digits.size() - places, ".");
}

/// A duration in milliseconds, or in seconds if it is at least one second.
std::string duration(std::int64_t microseconds) {
    std::int64_t const milliseconds = (microseconds + 500) / 1000;
    return milliseconds < 1000 ? std::to_string(milliseconds) + " ms" : decimal(milliseconds, 3) + " s";
}

/// The text in lines of at most `characters` characters, which end between words if possible. Very long text is cut.
std::vector<std::string> wrapped(std::string const& untrusted, std::size_t characters) {
    constexpr std::size_t MOST_LINES = 20;
    std::string const text = television::printable(untrusted);
    std::vector<std::string> lines;
    std::string_view rest = text;
    do {
        std::size_t end = 0;
        for (std::size_t count = 0; end < rest.size(); ++end) {
            bool const isFirstByte = (static_cast<unsigned char>(rest[end]) & 0xC0U) != 0x80;
            if (isFirstByte && ++count > characters) {
                break;
            }
        }
        std::size_t const blank = end < rest.size() ? rest.rfind(' ', end) : std::string_view::npos;
        end = blank != std::string_view::npos && blank > end / 4 ? blank : end;
        lines.emplace_back(rest.substr(0, end));
        rest.remove_prefix(std::min(rest.find_first_not_of(' ', end), rest.size()));
    } while (!rest.empty() && lines.size() < MOST_LINES);
    lines.back() += rest.empty() ? "" : "\u2026";
    return lines;
}

std::size_t indent(std::size_t depth) { return std::min(depth * INDENT, MOST_INDENT); }

class Picture {
public:
    Picture(Timeline const& timeline, std::ostream& output) : timeline_(timeline), output_(output) {
        std::vector<std::size_t> lineCounts(timeline.eventTimes.size() + 1, 1);
        for (Lane const& lane : timeline.lanes) {
            for (Slice const& slice : lane.slices) {
                lineCounts[slice.begin.eventIndex] = linesOf(slice).size();
            }
            for (Message const& mark : lane.messages) {
                lineCounts[mark.position.eventIndex] = linesOf(mark).size();
            }
        }
        std::int64_t latest = timeline.begin;
        for (std::size_t row = 0; row < lineCounts.size(); ++row) {
            std::int64_t const time = row < timeline.eventTimes.size() ? timeline.eventTimes[row] : latest;
            waits_.push_back(timeline.hasTimestamps && row > 0 ? time - latest : 0);
            latest = row > 0 ? std::max(latest, time) : time;
            tops_.push_back(height_ + (hasWait(row) ? LINE_HEIGHT : 0));
            height_ = tops_[row] + lineCounts[row] * LINE_HEIGHT;
        }
    }

    void write() {
        std::size_t const width = TIME_WIDTH + timeline_.lanes.size() * LANE_WIDTH;
        std::size_t const height = height_ + 2 * LINE_HEIGHT;
        output_ << "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" << width << "\" height=\"" << height
                << "\" viewBox=\"0 0 " << width << ' ' << height << "\" font-family=\"monospace\" font-size=\"11\">\n"
                << "<rect width=\"" << width << "\" height=\"" << height << "\" fill=\"white\"/>\n";
        writeHead(4, timeline_.hasTimestamps ? "second" : "line");
        for (std::size_t row = 0; row < timeline_.eventTimes.size(); ++row) {
            writeRow(row, width);
        }
        for (std::size_t lane = 0; lane < timeline_.lanes.size(); ++lane) {
            writeLane(timeline_.lanes[lane], TIME_WIDTH + lane * LANE_WIDTH);
        }
        writeLegend();
        output_ << "</svg>\n";
    }

private:
    [[nodiscard]] bool hasWait(std::size_t row) const { return waits_[row] >= SHORTEST_WAIT; }

    [[nodiscard]] std::string timeOf(std::int64_t time) const {
        return timeline_.hasTimestamps ? decimal(time - timeline_.begin, 6) : std::to_string(time);
    }

    [[nodiscard]] std::string at(EventPosition const& position) const {
        return (timeline_.hasTimestamps ? " at second " : " in line ") + timeOf(position.microsecondsOrLine);
    }

    [[nodiscard]] std::string nameOf(Slice const& slice) const {
        std::string const time = decimal(slice.end.microsecondsOrLine - slice.begin.microsecondsOrLine, 3) + " ms";
        return slice.operation + "()" + (timeline_.hasTimestamps ? " " + time : "");
    }

    static std::size_t textOf(Slice const& slice) { return indent(slice.depth) + 4; }
    static std::size_t textOf(Message const& mark) { return indent(mark.depth) + 14; }

    static std::vector<std::string> fitted(std::string const& label, std::size_t x) {
        return wrapped(label, (LANE_WIDTH - MARGIN - x) / CHARACTER_WIDTH);
    }
    [[nodiscard]] std::vector<std::string> linesOf(Slice const& slice) const {
        return fitted(nameOf(slice) + detailsOf(slice), textOf(slice));
    }
    static std::vector<std::string> linesOf(Message const& mark) { return fitted(mark.text, textOf(mark)); }

    static std::string detailsOf(Slice const& slice) {
        std::string const both = slice.key + (slice.key.empty() || slice.value.empty() ? "" : " ") + slice.value;
        return both.empty() ? "" : ": " + both;
    }

    void writeHead(std::size_t x, std::string const& text) {
        output_ << "<text x=\"" << x << "\" y=\"16\" font-weight=\"bold\">" << text << "</text>\n";
    }

    void writeText(std::size_t x, std::size_t top, std::string const& text, char const* colour) {
        output_ << "<text x=\"" << x << "\" y=\"" << top + TEXT_OFFSET << "\" fill=\"" << colour << "\">"
                << escaped(text) << "</text>";
    }

    void writeCircle(std::size_t x, std::size_t top, char const* colour) {
        output_ << "<circle cx=\"" << x << "\" cy=\"" << top + LINE_HEIGHT / 2 << "\" r=\"3\" fill=\"" << colour
                << "\"/>";
    }

    void writeBlock(std::size_t x, std::size_t top, std::size_t width, std::size_t height, std::size_t depth,
                    bool left) {
        constexpr char const* COLOURS[] = {"#cfe2f3", "#a9cdeb", "#c9e7cf", "#a3d5ad"};
        output_ << "<rect x=\"" << x << "\" y=\"" << top + 1 << "\" width=\"" << width << "\" height=\"" << height - 2
                << "\" rx=\"3\" fill=\"" << COLOURS[depth % std::size(COLOURS)] << "\" stroke=\"#5b7f9e\""
                << (left ? "" : " stroke-dasharray=\"4 3\"") << "/>";
    }

    void writeWait(std::size_t x, std::size_t top, std::size_t width) {
        output_ << "<rect x=\"" << x << "\" y=\"" << top << "\" width=\"" << width << "\" height=\"" << LINE_HEIGHT
                << "\" fill=\"" << WAIT_COLOUR << "\"/>";
    }

    void writeRow(std::size_t row, std::size_t width) {
        if (hasWait(row)) {
            writeWait(0, tops_[row] - LINE_HEIGHT, width);
            writeText(4, tops_[row] - LINE_HEIGHT, duration(waits_[row]), "black");
        }
        output_ << "<path d=\"M0 " << tops_[row] << 'h' << width << "\" stroke=\"#eee\"/>";
        writeText(4, tops_[row], timeOf(timeline_.eventTimes[row]), "#666");
        output_ << '\n';
    }

    /// Writes the lane. Its contents are in a nested `<svg>` element, which clips texts that are wider than the lane.
    void writeLane(Lane const& lane, std::size_t x) {
        writeHead(x, lane.name);
        output_ << "<svg x=\"" << x << "\" y=\"0\" width=\"" << LANE_WIDTH << "\" height=\"" << height_ << "\">\n";
        for (Slice const& slice : lane.slices) {
            std::string const details = detailsOf(slice);
            output_ << "<g><title>" << escaped(nameOf(slice) + ", " + slice.sourceLocation) << at(slice.begin)
                    << (slice.hasExit ? "" : ", not left in the log") << escaped(details) << "</title>";
            std::size_t const left = indent(slice.depth);
            std::size_t const top = tops_[slice.begin.eventIndex];
            std::size_t const bottom =
                slice.end.eventIndex + 1 < tops_.size() ? tops_[slice.end.eventIndex] + LINE_HEIGHT : height_;
            writeBlock(left, top, LANE_WIDTH - MARGIN - left - left / 4, bottom - top, slice.depth, slice.hasExit);
            writeLines(linesOf(slice), textOf(slice), top, "black");
        }
        for (Message const& mark : lane.messages) {
            char const* const colour = mark.isError ? ERROR_COLOUR : MESSAGE_COLOUR;
            output_ << "<g><title>" << escaped(mark.text + ", " + mark.sourceLocation) << at(mark.position)
                    << "</title>";
            writeCircle(textOf(mark) - 6, tops_[mark.position.eventIndex], colour);
            writeLines(linesOf(mark), textOf(mark), tops_[mark.position.eventIndex],
                       mark.isError ? ERROR_COLOUR : "black");
        }
        output_ << "</svg>\n";
    }

    /// Writes the lines of text, and then ends the SVG group of the slice or the message.
    void writeLines(std::vector<std::string> const& lines, std::size_t x, std::size_t top, char const* colour) {
        for (std::string const& line : lines) {
            writeText(x, top, line, colour);
            top += LINE_HEIGHT;
        }
        output_ << "</g>\n";
    }

    void writeLegend() {
        constexpr std::size_t SYMBOL_WIDTH = 24;
        std::size_t const top = height_ + LINE_HEIGHT / 2;
        std::size_t x = 4;
        auto const writeName = [&](std::string const& name) {
            writeText(x + SYMBOL_WIDTH + 4, top, name, "black");
            x += SYMBOL_WIDTH + (name.size() + 3) * CHARACTER_WIDTH;
        };
        writeBlock(x, top, SYMBOL_WIDTH, LINE_HEIGHT, 0, true);
        writeName("operation, entry to exit");
        writeBlock(x, top, SYMBOL_WIDTH, LINE_HEIGHT, 0, false);
        writeName("exit not in the log");
        writeCircle(x + SYMBOL_WIDTH / 2, top, MESSAGE_COLOUR);
        writeName("message");
        writeCircle(x + SYMBOL_WIDTH / 2, top, ERROR_COLOUR);
        writeName("error");
        if (timeline_.hasTimestamps) {
            writeWait(x, top, SYMBOL_WIDTH);
            writeName("wait of " + duration(SHORTEST_WAIT) + " or more");
        }
        output_ << '\n';
    }

    Timeline const& timeline_;
    std::ostream& output_;
    std::vector<std::int64_t> waits_;  ///< The wait before each row, in microseconds.
    std::vector<std::size_t> tops_;    ///< The top of each row, and of the row after the last row.
    std::size_t height_ = HEAD_HEIGHT;
};

}  // namespace

void writeSvg(Timeline const& timeline, std::ostream& output) { Picture(timeline, output).write(); }

}  // namespace nrx_timeline
