#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>

namespace {

using namespace std::string_literals;

struct Run {
    int status;
    std::string output;  ///< Of both streams.
};

/// Runs the console with the script as its standard input.
Run console(std::string const& arguments, std::string const& script) {
    static auto const input =
        std::filesystem::path(testing::TempDir()) / ("nrx_console_" + std::to_string(getpid()) + ".nrx");
    std::ofstream(input) << script;
    std::string const command = "NRX_LOG=off '" NRX_CONSOLE "' " + arguments + " < '" + input.string() + "' 2>&1";
    std::FILE* const pipe = popen(command.c_str(), "r");
    std::string output;
    std::array<char, 4096> part{};
    for (std::size_t read = 0; (read = std::fread(part.data(), 1, part.size(), pipe)) > 0;) {
        output.append(part.data(), read);
    }
    int const status = pclose(pipe);
    std::filesystem::remove(input);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, output};
}

std::string withModel() { return "--model '" NRX_CONSOLE_EXAMPLE "/model.json'"; }

TEST(Console, PlaysTheShippedSession) {
    auto const [status, output] =
        console(withModel() + " --sysroot '" NRX_CONSOLE_EXAMPLE "/sysroot' '" NRX_CONSOLE_EXAMPLE "/session.nrx'", "");
    EXPECT_EQ(status, 0);
    for (char const* const lines :
         {"software version: \n", "software version: 7.2.114\nmodel name: OL-55-D\nfeature code: \n",
          "feature code: F3A9\ndevice identifier: TV-0042-1138\n", R"(client: command ["play", "channel 5"])",
          R"(client: event ["volume", "21"])", R"(client: command ["pause"])", "\ncommand: [\"pause\"]\n",
          "\nevent: [\"volume\", \"21\"]\n", "  1: 12\n  2: {\"id\":\"nrxservice\",", "channels: 3 rows\n",
          R"(  ["3", "Films", "HD"])"}) {
        EXPECT_NE(output.find(lines), std::string::npos) << lines << " is not in\n" << output;
    }
    EXPECT_EQ(output.find(R"(client: event ["volume", "20"])"), std::string::npos);  // Its listener was off.
}

TEST(Console, StopsAtTheFirstWrongLineOfAScript) {
    struct Row {
        char const* line;
        char const* message;
    };
    for (auto const& [line, message] : {
             Row{"dance", "found \"dance\", expected a command that \"help\" lists"},
             Row{"tv dance", "found \"tv dance\", expected a command that \"help\" lists"},
             Row{"start now", "found 1 arguments, expected: start "},
             Row{"listen event maybe", "found \"maybe\", expected on or off"},
             Row{"listen music on", "found \"music\", expected command or event"},
             Row{"tv set no.such.key 1", "found \"no.such.key\", expected the key of a value"},
             Row{"tv set example.table.channels 1", "found \"example.table.channels\", expected the key of a value"},
             Row{"tv publish k integer five",
                 "value: found \"five\", expected a whole number from -2147483648 to 2147483647"},
             Row{"tv publish k integer 2147483648",
                 "value: found 2147483648, expected a whole number from -2147483648 to 2147483647"},
             Row{"tv publish k integer 1 2", "found 2 values, expected one"},
             Row{"tv publish k integer-list 1 x",
                 "value/1: found \"x\", expected a whole number from -2147483648 to 2147483647"},
             Row{"tv publish k colour red",
                 "found type \"colour\", expected one of integer, int64, string, integer-list, string-list"},
             Row{"tv withdraw k", "found \"k\", expected the key of an object"},
             Row{"tv log loud", "found \"loud\", expected off, critical, error, info or debug"},
             Row{"tv fail invoke 3x", "found \"3x\", expected a number"},
             Row{"set command \"a", "found a quote that does not end, expected \""},
         }) {
        auto const [status, output] = console(withModel(), "# first\n"s + line + "\nhelp\n");
        EXPECT_EQ(status, 1) << line;
        EXPECT_EQ(output, "# first\n> "s + line + "\nstandard input:2: " + message + "\n");
    }
}

TEST(Console, StartsNothingWithAWrongModel) {
    struct Row {
        char const* model;
        char const* message;
    };
    auto const file = std::filesystem::path(testing::TempDir()) / ("nrx_model_" + std::to_string(getpid()) + ".json");
    for (auto const& [model, message] : {
             Row{"{\"objects\": [}",
                 "[json.exception.parse_error.101] parse error at line 1, column 14: syntax error "
                 "while parsing value - unexpected '}'; expected '[', '{', or a literal"},
             Row{"[]", "/: found [], expected an object with \"objects\""},
             Row{R"({"objects": {}})", "/objects: found {}, expected a list of objects"},
             Row{R"({"objects": [5]})", "/objects/0: found 5, expected an object with \"key\""},
             Row{R"({"objects": [], "extra": 1})", "/extra: found 1, expected no such member"},
             Row{R"({"objects": [{"key": "k", "type": "colour", "value": 1}]})",
                 "/objects/0/type: found \"colour\", expected one of integer, int64, string, integer-list, "
                 "string-list, action, table"},
             Row{R"({"objects": [{"key": "k", "type": "string", "value": 1}]})",
                 "/objects/0/value: found 1, expected a string"},
             Row{R"({"objects": [{"key": "k", "type": "int64", "value": 9223372036854775808}]})",
                 "/objects/0/value: found 9223372036854775808, expected a whole number from -9223372036854775808 to "
                 "9223372036854775807"},
             Row{R"({"objects": [{"key": "k", "type": "integer", "value": 1.5}]})",
                 "/objects/0/value: found 1.5, expected a whole number from -2147483648 to 2147483647"},
             Row{R"({"objects": [{"key": "k", "type": "table", "value": [["a"], ["b", 2]]}]})",
                 "/objects/0/value/1/1: found 2, expected a string"},
             Row{R"({"objects": [{"key": "k", "type": "action", "value": 1}]})",
                 "/objects/0/value: found 1, expected no such member"},
             Row{R"({"objects": [{"key": "k", "type": "action"}, {"key": "k", "type": "action"}]})",
                 "/objects/1/key: found \"k\", expected each key once"},
         }) {
        std::ofstream(file) << model;
        auto const [status, output] = console("--model '" + file.string() + "'", "info\n");
        EXPECT_EQ(status, 2) << model;
        EXPECT_EQ(output, "nrx_console: " + file.string() + ": " + message + "\n");
    }
    std::filesystem::remove(file);
}

TEST(Console, StartsNothingWithWrongOptions) {
    for (char const* const arguments :
         {"--model /no/such/file", "--sysroot /no/such/directory", "/no/such/script", "--colour red", "a b"}) {
        auto const [status, output] = console(arguments, "info\n");
        EXPECT_EQ(status, 2) << arguments;
        EXPECT_EQ(std::count(output.begin(), output.end(), '\n'), 1) << output;
    }
}

TEST(Console, QuitsWithTheTelevisionUnreachable) {
    auto const [status, output] =
        console(withModel(), "start\nlisten command on\ntv set command a\ntv off\nquit\nhelp\n");
    EXPECT_EQ(status, 0);
    EXPECT_EQ(output.find("list the commands"), std::string::npos);
}

}  // namespace
