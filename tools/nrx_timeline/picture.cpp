#include <algorithm>
#include <iterator>
#include <string_view>
#include <utility>

#include "television/printable.h"
#include "tools/nrx_timeline/output.h"

namespace nrx_timeline {

namespace {

// In pixels.
constexpr std::size_t TIME_WIDTH = 90;
constexpr std::size_t LANE_WIDTH = 680;
constexpr std::size_t HEAD_HEIGHT = 24;
constexpr std::size_t ROW_HEIGHT = 16;
constexpr std::size_t TEXT_OFFSET = 12;  ///< From the top of a row to the baseline of its text.
constexpr std::size_t CHARACTER_WIDTH = 7;
constexpr std::size_t INDENT = 10;
constexpr std::size_t MOST_INDENT = 20 * INDENT;
constexpr std::size_t MARGIN = 16;

/// The text for XML: printable, with markup and the two noncharacters of the basic plane escaped.
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

/// A number of thousandths (3 places) or millionths (6 places).
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
        std::size_t const width = TIME_WIDTH + timeline_.lanes.size() * LANE_WIDTH;
        std::size_t const height = HEAD_HEIGHT + rowsHeight();
        output_ << "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" << width << "\" height=\"" << height
                << "\" viewBox=\"0 0 " << width << ' ' << height << "\" font-family=\"monospace\" font-size=\"11\">\n"
                << "<rect width=\"" << width << "\" height=\"" << height << "\" fill=\"white\"/>\n";
        writeHead(4, timeline_.stamped ? "second" : "line");
        for (std::size_t row = 0; row < timeline_.times.size(); ++row) {
            std::size_t const y = HEAD_HEIGHT + top(row);
            output_ << "<path d=\"M0 " << y << 'h' << width << "\" stroke=\"#eee\"/><text x=\"4\" y=\""
                    << y + TEXT_OFFSET << "\" fill=\"#666\">" << timeOf(timeline_.times[row]) << "</text>\n";
        }
        for (std::size_t lane = 0; lane < timeline_.lanes.size(); ++lane) {
            writeLane(timeline_.lanes[lane], TIME_WIDTH + lane * LANE_WIDTH);
        }
        output_ << "</svg>\n";
    }

private:
    [[nodiscard]] std::size_t rowsHeight() const { return top(timeline_.times.size() + 1); }

    [[nodiscard]] std::string timeOf(std::int64_t time) const {
        return timeline_.stamped ? decimal(time - timeline_.begin, 6) : std::to_string(time);
    }

    [[nodiscard]] std::string at(Moment const& moment) const {
        return (timeline_.stamped ? " at second " : " in line ") + timeOf(moment.time);
    }

    void writeHead(std::size_t x, std::string const& text) {
        output_ << "<text x=\"" << x << "\" y=\"16\" font-weight=\"bold\">" << text << "</text>\n";
    }

    /// A nested element, which clips wider contents.
    void writeLane(Lane const& lane, std::size_t x) {
        writeHead(x, lane.name);
        output_ << "<svg x=\"" << x << "\" y=\"" << HEAD_HEIGHT << "\" width=\"" << LANE_WIDTH << "\" height=\""
                << rowsHeight() << "\">\n";
        for (Slice const& slice : lane.slices) {
            writeSlice(slice);
        }
        for (Mark const& mark : lane.marks) {
            writeMark(mark);
        }
        output_ << "</svg>\n";
    }

    void writeSlice(Slice const& slice) {
        constexpr char const* COLOURS[] = {"#cfe2f3", "#a9cdeb", "#c9e7cf", "#a3d5ad"};
        std::size_t const x = indent(slice.depth);
        std::string label = slice.operation + "()";
        if (timeline_.stamped) {
            label += " " + decimal(slice.end.time - slice.begin.time, 3) + " ms";
        }
        output_ << "<g><title>" << escaped(label + ", " + slice.place) << at(slice.begin)
                << (slice.left ? "" : ", not left in the log") << "</title><rect x=\"" << x << "\" y=\""
                << top(slice.begin.row) + 1 << "\" width=\"" << LANE_WIDTH - MARGIN - x - x / 4 << "\" height=\""
                << top(slice.end.row - slice.begin.row + 1) - 2 << "\" rx=\"3\" fill=\""
                << COLOURS[slice.depth % std::size(COLOURS)] << "\" stroke=\"#5b7f9e\""
                << (slice.left ? "" : " stroke-dasharray=\"4 3\"") << "/>";
        writeText(label, x + 4, slice.begin.row);
    }

    void writeMark(Mark const& mark) {
        std::size_t const x = indent(mark.depth) + 8;
        output_ << "<g><title>" << escaped(mark.text + ", " + mark.place) << at(mark.moment) << "</title><circle cx=\""
                << x << "\" cy=\"" << top(mark.moment.row) + ROW_HEIGHT / 2 << "\" r=\"3\" fill=\"#d9730d\"/>";
        writeText(mark.text, x + 6, mark.moment.row);
    }

    /// Also ends the group of the slice or the mark.
    void writeText(std::string const& text, std::size_t x, std::size_t row) {
        output_ << "<text x=\"" << x << "\" y=\"" << top(row) + TEXT_OFFSET << "\">"
                << escaped(
                       television::shortened(television::printable(text), (LANE_WIDTH - MARGIN - x) / CHARACTER_WIDTH))
                << "</text></g>\n";
    }

    Timeline const& timeline_;
    std::ostream& output_;
};

}  // namespace

void writePicture(Timeline const& timeline, std::ostream& output) { Picture(timeline, output).write(); }

}  // namespace nrx_timeline
