#include "tools/nrx_console/terminal.h"

#include <histedit.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

#include "tools/nrx_console/screen.h"

namespace nrx_console {

namespace {

constexpr int HISTORY_SIZE = 1000;
constexpr wchar_t CTRL_U = 0x15;
constexpr auto INVALID = static_cast<std::size_t>(-1);     ///< `mbrtowc` returns this for an invalid byte.
constexpr auto INCOMPLETE = static_cast<std::size_t>(-2);  ///< `mbrtowc` returns this for an incomplete character.

std::atomic<bool> isLineEdited = false;  ///< Whether the prompt is on the screen.
volatile std::sig_atomic_t isInterrupted = 0;

/// Discards the line that is edited. Ends the program if no line is edited.
void onInterrupt(int signal) {
    isInterrupted = 1;
    if (!isLineEdited) {
        std::signal(signal, SIG_DFL);
        std::raise(signal);
    }
}

char* prompt(EditLine* /*editor*/) {
    static char text[] = "> ";
    return text;
}

/// Reads one character, which may have several bytes. Returns 1, or 0 at the end of the input, or -1 after an error.
int readWideCharacter(wchar_t& character) {
    std::mbstate_t shift{};
    for (int length = 0; length < MB_LEN_MAX; ++length) {
        char byte = 0;
        ssize_t const got = ::read(STDIN_FILENO, &byte, 1);
        if (got <= 0) {
            return static_cast<int>(got);
        }
        std::size_t const used = std::mbrtowc(&character, &byte, 1, &shift);
        if (used != INCOMPLETE) {
            character = used == INVALID ? L'?' : character;
            return 1;
        }
    }
    return -1;
}

/// Whether the line ends within quotes.
bool isQuoteOpen(std::string const& line) {
    std::string const word = line.substr(lastWordPosition(line));
    try {
        wordsOf(word);
        return false;
    } catch (CommandError const&) {
        return word.starts_with('"');
    }
}

class LineEditor {
public:
    LineEditor(std::string const& historyFile, Complete const& complete)
        : historyFile_(historyFile), complete_(complete) {
        HistEvent event{};
        history(history_, &event, H_SETSIZE, HISTORY_SIZE);
        history(history_, &event, H_SETUNIQUE, 1);
        history(history_, &event, H_LOAD, historyFile_.c_str());
        el_set(editor_, EL_CLIENTDATA, this);
        el_set(editor_, EL_PROMPT, prompt);
        el_set(editor_, EL_EDITOR, "emacs");
        el_set(editor_, EL_HIST, history, history_);
        el_set(editor_, EL_ADDFN, "nrx-complete", "complete the word", completeWord);
        el_set(editor_, EL_BIND, "^I", "nrx-complete", nullptr);
        el_set(editor_, EL_GETCFN, readCharacter);
        el_source(editor_, nullptr);
        struct sigaction action {};
        // SA_RESTART is not set, so that a signal interrupts the wait for a character.
        action.sa_handler = onInterrupt;
        sigaction(SIGINT, &action, nullptr);
        action.sa_handler = [](int /*signal*/) {};
        sigaction(SIGWINCH, &action, nullptr);
        setLineSink([this](std::string const& line, LineKind kind) { print(line, kind); });
    }
    LineEditor(LineEditor const&) = delete;
    LineEditor& operator=(LineEditor const&) = delete;
    ~LineEditor() {
        setLineSink({});
        el_end(editor_);
        history_end(history_);
        close(wake_);
    }

    /// The next line without its line feed, or nothing at the end of the input.
    std::optional<std::string> readLine() {
        setEditing(true);
        int length = 0;
        char const* const text = el_gets(editor_, &length);
        setEditing(false);
        printPending();
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
            history(history_, &event, H_ENTER, line.c_str());
            // Saves the history after each line, because a signal may end the program.
            history(history_, &event, H_SAVE, historyFile_.c_str());
        }
        return line;
    }

private:
    static LineEditor& of(EditLine* editor) {
        void* data = nullptr;
        el_get(editor, EL_CLIENTDATA, &data);
        return *static_cast<LineEditor*>(data);
    }

    /// Any thread may call this function. While a line is edited, only the editing thread prints on the terminal,
    /// because only this thread knows where the cursor is.
    void print(std::string const& line, LineKind kind) {
        std::lock_guard const lock(mutex_);
        if (kind != LineKind::ordinary && isatty(STDERR_FILENO) == 0) {
            std::fputs((line + "\n").c_str(), stderr);
        } else if (isLineEdited) {
            pending_.push_back(colourAndWrapIfTerminal(line, kind));
            eventfd_write(wake_, 1);
        } else {
            std::puts(colourAndWrapIfTerminal(line, kind).c_str());
            std::fflush(stdout);
        }
    }

    /// Prints the pending lines in the place of the prompt. Returns false if no line is pending.
    bool printPending() {
        std::vector<std::string> lines;
        {
            std::lock_guard const lock(mutex_);
            lines.swap(pending_);
        }
        std::fputs(lines.empty() ? "" : "\r\x1b[J", stdout);
        for (std::string const& line : lines) {
            std::puts(line.c_str());
        }
        std::fflush(stdout);
        return !lines.empty();
    }

    void setEditing(bool isEditing) {
        std::lock_guard const lock(mutex_);
        isLineEdited = isEditing;
    }

    static int readCharacter(EditLine* editor, wchar_t* character) {
        LineEditor& self = of(editor);
        pollfd sources[] = {{STDIN_FILENO, POLLIN, 0}, {self.wake_, POLLIN, 0}};
        while ((sources[0].revents & (POLLIN | POLLHUP)) == 0) {
            if (poll(sources, 2, -1) < 0) {
                if (errno != EINTR) {
                    return -1;
                }
                el_resize(editor);  // The signal may report a change of the terminal's size.
            }
            if (std::exchange(isInterrupted, 0) != 0) {
                *character = CTRL_U;  // Empties the line.
                return 1;
            }
            eventfd_t count = 0;
            if (eventfd_read(self.wake_, &count) == 0 && self.printPending()) {
                el_set(editor, EL_REFRESH);
            }
        }
        return readWideCharacter(*character);
    }

    static unsigned char completeWord(EditLine* editor, int /*key*/) {
        LineEditor& self = of(editor);
        LineInfo const* const info = el_line(editor);
        std::string const line(info->buffer, info->cursor);
        Words choices;
        try {
            choices = self.complete_(line);
        } catch (CommandError const&) {  // The line cannot be split into words yet.
        }
        if (choices.empty()) {  // Within quotes, the Tab key inserts a backslash and a t.
            return isQuoteOpen(line) && el_insertstr(editor, "\\t") == 0 ? CC_REFRESH : CC_REFRESH_BEEP;
        }
        std::string common = choices.front();
        for (std::string const& choice : choices) {
            auto const end = std::mismatch(common.begin(), common.end(), choice.begin(), choice.end()).first;
            common.erase(end, common.end());
        }
        std::string const rest = common.substr(line.size() - lastWordPosition(line)) + (choices.size() == 1 ? " " : "");
        if (!rest.empty()) {
            return el_insertstr(editor, rest.c_str()) == 0 ? CC_REFRESH : CC_REFRESH_BEEP;
        }
        self.print(joined(choices, "  "), LineKind::ordinary);
        return CC_NORM;
    }

    std::string const historyFile_;
    Complete const& complete_;
    int const wake_ = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);  ///< Signalled when a line is pending.
    History* const history_ = history_init();
    EditLine* const editor_ = el_init("nrx_console", stdin, stdout, stderr);
    std::mutex mutex_;
    std::vector<std::string> pending_;  ///< Lines that the editing thread must print.
};

}  // namespace

void editLines(std::string const& historyFile, Complete const& complete, HandleLine const& handle) {
    LineEditor editor(historyFile, complete);
    for (auto line = editor.readLine(); line && handle(*line);) {
        line = editor.readLine();
    }
}

}  // namespace nrx_console
