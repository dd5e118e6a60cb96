#include <algorithm>

#include "simulator/printable.h"
#include "tools/nrx_timeline/output.h"

namespace nrx_timeline {

namespace {

// In pixels, but for the last one.
constexpr std::size_t TIME_WIDTH = 90;
constexpr std::size_t HEAD_HEIGHT = 24;
constexpr std::size_t ROW_HEIGHT = 16;
constexpr std::size_t TEXT_OFFSET = 12;  ///< Of the line on which a row's text stands.
constexpr std::size_t CHARACTER_WIDTH = 7;
constexpr std::size_t INDENT = 10;
constexpr std::size_t MOST_INDENT = 20 * INDENT;
constexpr std::size_t MARGIN = 16;
constexpr std::size_t MOST_CHARACTERS = 96;

constexpr std::int64_t PAUSE = 10'000;  ///< Of so many microseconds without a line.

/// The text as XML may hold it: printable, without its marks, and without the two code points that are no characters.
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
    std::string const text = simulator::printable(untrusted);
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

/// The beginning of a text that goes on too long.
std::string shortened(std::string_view text, std::size_t characters) {
    if (text.size() <= characters) {
        return std::string(text);
    }
    std::size_t end = characters;
    while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0U) == 0x80) {  // Within a character.
        --end;
    }
    return std::string(text.substr(0, end)) + "\u2026";
}

/// A number of thousandths or millionths.
std::string decimal(std::int64_t number, std::size_t places) {
    std::string digits = std::to_string(number);
    digits.insert(0, digits.size() <= places ? places + 1 - digits.size() : 0, '0');
    return digits.insert(digits.size() - places, ".");
}

std::size_t top(std::size_t row) { return row * ROW_HEIGHT; }

std::size_t indent(std::size_t depth) { return std::min(depth * INDENT, MOST_INDENT); }

class Picture {
public:
    Picture(Timeline const& timeline, std::ostream& output) : timeline_(timeline), output_(output) {}

    void write() {
        std::size_t width = TIME_WIDTH;
        for (Lane const& lane : timeline_.lanes) {
            width += widthOf(lane);
        }
        std::size_t const height = HEAD_HEIGHT + top(timeline_.times.size() + 1);
        output_ << "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" << width << "\" height=\"" << height
                << "\" viewBox=\"0 0 " << width << ' ' << height << "\" font-family=\"monospace\" font-size=\"11\">\n"
                << "<rect width=\"" << width << "\" height=\"" << height << "\" fill=\"white\"/>\n";
        writeTimes(width);
        std::size_t x = TIME_WIDTH;
        for (Lane const& lane : timeline_.lanes) {
            writeLane(lane, x);
            x += widthOf(lane);
        }
        output_ << "</svg>\n";
    }

private:
    static std::size_t widthOf(Lane const& lane) {
        std::size_t widest = 40 * CHARACTER_WIDTH;
        for (Mark const& mark : lane.marks) {
            widest =
                std::max(widest, indent(mark.depth) + std::min(mark.text.size(), MOST_CHARACTERS) * CHARACTER_WIDTH);
        }
        for (Slice const& slice : lane.slices) {
            widest = std::max(widest, indent(slice.depth) + 2 * INDENT);
        }
        return widest + 3 * MARGIN;
    }

    [[nodiscard]] std::string timeOf(std::int64_t time) const {
        return timeline_.stamped ? decimal(time - timeline_.begin, 6) : std::to_string(time);
    }

    [[nodiscard]] std::string at(Moment const& moment) const {
        return (timeline_.stamped ? " at second " : " in line ") + timeOf(moment.time);
    }

    void writeTimes(std::size_t width) {
        output_ << "<text x=\"4\" y=\"16\" font-weight=\"bold\">" << (timeline_.stamped ? "second" : "line")
                << "</text>\n";
        std::int64_t last = timeline_.begin;
        for (std::size_t row = 0; row < timeline_.times.size(); ++row) {
            std::int64_t const time = timeline_.times[row];
            bool const paused = timeline_.stamped && time - last >= PAUSE;
            output_ << "<path d=\"M0 " << HEAD_HEIGHT + top(row) << 'h' << width << "\" stroke=\""
                    << (paused ? "#888" : "#eee") << "\"/><text x=\"4\" y=\"" << HEAD_HEIGHT + top(row) + TEXT_OFFSET
                    << "\" fill=\"#666\">" << timeOf(time) << "</text>\n";
            last = time;
        }
    }

    /// An element of its own, which cuts off what is wider.
    void writeLane(Lane const& lane, std::size_t x) {
        std::size_t const width = widthOf(lane);
        output_ << "<text x=\"" << x << "\" y=\"16\" font-weight=\"bold\">" << escaped(lane.name) << "</text>\n"
                << "<svg x=\"" << x << "\" y=\"" << HEAD_HEIGHT << "\" width=\"" << width << "\" height=\""
                << top(timeline_.times.size() + 1) << "\">\n";
        for (Slice const& slice : lane.slices) {
            writeSlice(slice, width);
        }
        for (Mark const& mark : lane.marks) {
            writeMark(mark, width);
        }
        output_ << "</svg>\n";
    }

    void writeSlice(Slice const& slice, std::size_t laneWidth) {
        constexpr char const* COLOURS[] = {"#cfe2f3", "#a9cdeb", "#c9e7cf", "#a3d5ad"};
        std::size_t const x = indent(slice.depth);
        std::string label = slice.operation + "()";
        if (timeline_.stamped) {
            label += "  " + decimal(slice.end.time - slice.begin.time, 3) + " ms";
        }
        output_ << "<g><title>" << escaped(label + ", " + slice.place) << at(slice.begin)
                << (slice.left ? "" : ", not left in the log") << "</title><rect x=\"" << x << "\" y=\""
                << top(slice.begin.row) + 1 << "\" width=\"" << laneWidth - MARGIN - x << "\" height=\""
                << top(slice.end.row - slice.begin.row + 1) - 2 << "\" rx=\"3\" fill=\""
                << COLOURS[slice.depth % std::size(COLOURS)] << "\" stroke=\"#5b7f9e\""
                << (slice.left ? "" : " stroke-dasharray=\"4 3\"") << "/>";
        writeText(label, x + 4, slice.begin.row, laneWidth);
    }

    void writeMark(Mark const& mark, std::size_t laneWidth) {
        std::size_t const x = indent(mark.depth) + 8;
        output_ << "<g><title>" << escaped(mark.text + ", " + mark.place) << at(mark.moment) << "</title><circle cx=\""
                << x << "\" cy=\"" << top(mark.moment.row) + ROW_HEIGHT / 2 << "\" r=\"3\" fill=\"#d9730d\"/>";
        writeText(mark.text, x + 6, mark.moment.row, laneWidth);
    }

    /// And ends the group of what it belongs to.
    void writeText(std::string const& text, std::size_t x, std::size_t row, std::size_t laneWidth) {
        output_ << "<text x=\"" << x << "\" y=\"" << top(row) + TEXT_OFFSET << "\">"
                << escaped(shortened(simulator::printable(text), (laneWidth - MARGIN - x) / CHARACTER_WIDTH))
                << "</text></g>\n";
    }

    Timeline const& timeline_;
    std::ostream& output_;
};

}  // namespace

void writePicture(Timeline const& timeline, std::ostream& output) { Picture(timeline, output).write(); }

}  // namespace nrx_timeline
