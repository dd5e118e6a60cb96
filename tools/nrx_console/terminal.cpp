#include "tools/nrx_console/terminal.h"

#include <histedit.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <clocale>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <deque>
#include <mutex>
#include <utility>

#include "tools/nrx_console/output.h"

namespace nrx_console {

namespace {

constexpr int HISTORY_SIZE = 1000;
constexpr wchar_t CTRL_U = 0x15;

/// In the colour of its kind, unless the user wants none: https://no-color.org.
std::string coloured(std::string const& line, Kind kind) {
    constexpr char const* COLOURS[] = {"", "\x1b[1;31m", "\x1b[31m", "\x1b[36m", "\x1b[2m"};  // By kind.
    char const* const unwanted = std::getenv("NO_COLOR");
    if (kind == Kind::ordinary || (unwanted != nullptr && *unwanted != '\0')) {
        return line;
    }
    return COLOURS[static_cast<std::size_t>(kind)] + line + "\x1b[0m";
}

volatile std::sig_atomic_t lineIsEdited = 0;
volatile std::sig_atomic_t interrupted = 0;

/// Gives up the line that is edited; ends the program when it is none.
void onInterrupt(int signal) {
    interrupted = 1;
    if (lineIsEdited == 0) {
        std::signal(signal, SIG_DFL);
        std::raise(signal);
    }
}

char* prompt(EditLine* /*editor*/) {
    static char text[] = "> ";
    return text;
}

}  // namespace

struct Terminal::State {
    State(std::string file, Complete completing)
        : historyFile(std::move(file)), complete(std::move(completing)), wake(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)) {}

    /// Prints the lines that came; the thread that edits does so, which alone knows where the cursor is.
    bool printWaiting() {
        std::deque<std::pair<std::string, Kind>> lines;
        {
            std::lock_guard const lock(mutex);
            lines.swap(waiting);
        }
        if (lines.empty()) {
            return false;
        }
        std::fputs("\r\x1b[J", stdout);
        for (auto const& [line, kind] : lines) {
            std::puts(coloured(line, kind).c_str());
        }
        std::fflush(stdout);
        return true;
    }

    void take(std::string const& line, Kind kind) {
        std::lock_guard const lock(mutex);
        if (kind != Kind::ordinary && isatty(STDERR_FILENO) == 0) {
            std::fputs((line + "\n").c_str(), stderr);
            return;
        }
        if (!editing) {  // A command runs, and there is no prompt.
            std::puts(coloured(line, kind).c_str());
            std::fflush(stdout);
            return;
        }
        waiting.emplace_back(line, kind);
        std::uint64_t const one = 1;
        while (write(wake, &one, sizeof one) < 0 && errno == EINTR) {
        }
    }

    void setEditing(bool now) {
        std::lock_guard const lock(mutex);
        editing = now;
        lineIsEdited = now ? 1 : 0;
    }

    static int readCharacter(EditLine* editor, wchar_t* character) {
        State& state = of(editor);
        while (true) {
            pollfd sources[] = {{STDIN_FILENO, POLLIN, 0}, {state.wake, POLLIN, 0}};
            if (poll(sources, 2, -1) < 0) {
                if (errno != EINTR) {
                    return -1;
                }
                el_resize(editor);  // Whichever signal it was.
            }
            if (std::exchange(interrupted, 0) != 0) {
                *character = CTRL_U;  // Empties the line.
                return 1;
            }
            std::uint64_t count = 0;
            if (read(state.wake, &count, sizeof count) > 0 && state.printWaiting()) {
                el_set(editor, EL_REFRESH);
            }
            if ((sources[0].revents & (POLLIN | POLLHUP)) != 0) {
                break;
            }
        }
        // One character, however many bytes it has.
        char bytes[MB_LEN_MAX];
        std::size_t length = 0;
        std::mbstate_t shift{};
        while (length < sizeof bytes) {
            ssize_t const got = read(STDIN_FILENO, bytes + length, 1);
            if (got <= 0) {
                return static_cast<int>(got);
            }
            std::size_t const used = std::mbrtowc(character, bytes + length++, 1, &shift);
            if (used != static_cast<std::size_t>(-2)) {
                if (used == static_cast<std::size_t>(-1)) {
                    *character = L'?';
                }
                return 1;
            }
        }
        return -1;
    }

    static unsigned char completeWord(EditLine* editor, int /*key*/) {
        State& state = of(editor);
        LineInfo const* const info = el_line(editor);
        std::string const line(info->buffer, info->cursor);
        Words choices;
        try {
            choices = state.complete(line);
        } catch (CommandError const&) {  // No words yet.
        }
        if (choices.empty()) {
            return CC_REFRESH_BEEP;
        }
        std::string common = choices.front();
        for (std::string const& choice : choices) {
            common.resize(static_cast<std::size_t>(
                std::mismatch(common.begin(), common.end(), choice.begin(), choice.end()).first - common.begin()));
        }
        std::string const rest = common.substr(line.size() - lastWordOf(line)) + (choices.size() == 1 ? " " : "");
        if (!rest.empty()) {
            return el_insertstr(editor, rest.c_str()) == 0 ? CC_REFRESH : CC_REFRESH_BEEP;
        }
        std::string all;
        for (std::string const& choice : choices) {
            all += (all.empty() ? "" : "  ") + choice;
        }
        state.take(all, Kind::ordinary);
        return CC_NORM;
    }

    static State& of(EditLine* editor) {
        void* data = nullptr;
        el_get(editor, EL_CLIENTDATA, &data);
        return *static_cast<State*>(data);
    }

    std::string const historyFile;
    Complete const complete;
    int const wake;
    EditLine* editor = nullptr;
    History* history = nullptr;
    std::mutex mutex;
    bool editing = false;
    std::deque<std::pair<std::string, Kind>> waiting;
};

Terminal::Terminal(std::string historyFile, Complete complete)
    : state_(std::make_unique<State>(std::move(historyFile), std::move(complete))) {
    State& state = *state_;
    HistEvent event{};
    std::setlocale(LC_CTYPE, "");  // For the characters that are typed.
    state.history = history_init();
    history(state.history, &event, H_SETSIZE, HISTORY_SIZE);
    history(state.history, &event, H_SETUNIQUE, 1);
    history(state.history, &event, H_LOAD, state.historyFile.c_str());
    state.editor = el_init("nrx_console", stdin, stdout, stderr);
    el_set(state.editor, EL_CLIENTDATA, &state);
    el_set(state.editor, EL_PROMPT, prompt);
    el_set(state.editor, EL_EDITOR, "emacs");
    el_set(state.editor, EL_HIST, history, state.history);
    el_set(state.editor, EL_ADDFN, "nrx-complete", "complete the word", State::completeWord);
    el_set(state.editor, EL_BIND, "^I", "nrx-complete", nullptr);
    el_set(state.editor, EL_GETCFN, State::readCharacter);
    el_source(state.editor, nullptr);
    struct sigaction action {};
    action.sa_handler = onInterrupt;  // Without SA_RESTART: it wakes who waits for a character.
    sigaction(SIGINT, &action, nullptr);
    action.sa_handler = [](int /*signal*/) {};
    sigaction(SIGWINCH, &action, nullptr);
    setLineTaker([&state](std::string const& line, Kind kind) { state.take(line, kind); });
}

Terminal::~Terminal() {
    setLineTaker({});
    el_end(state_->editor);
    history_end(state_->history);
    close(state_->wake);
}

std::optional<std::string> Terminal::readLine() {
    state_->setEditing(true);
    int length = 0;
    char const* const text = el_gets(state_->editor, &length);
    state_->setEditing(false);
    state_->printWaiting();
    if (text == nullptr || length <= 0) {
        std::puts("");
        return {};
    }
    std::string line(text, static_cast<std::size_t>(length));
    while (line.ends_with('\n') || line.ends_with('\r')) {
        line.pop_back();
    }
    if (line.find_first_not_of(' ') != std::string::npos) {
        HistEvent event{};
        history(state_->history, &event, H_ENTER, line.c_str());
        history(state_->history, &event, H_SAVE, state_->historyFile.c_str());  // However the program ends.
    }
    return line;
}

}  // namespace nrx_console
