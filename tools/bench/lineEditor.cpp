#include "bench/lineEditor.h"

#include <algorithm>
#include <cerrno>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <sys/ioctl.h>
#include <unistd.h>
#include <utility>

namespace {

constexpr int kPromptWidth = 2;
constexpr int kRemembered = 1000;

char* prompt(EditLine* /*editor*/)
{
    static char text[] = "> ";
    return text;
}

int columns()
{
    winsize size{};
    return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

/// How many columns the text takes; a control character shows as ^X.
int widthOf(std::string_view text)
{
    int width = 0;
    std::mbstate_t state{};
    while (!text.empty()) {
        wchar_t character = 0;
        const auto length = std::mbrtowc(&character, text.data(), text.size(), &state);
        if (length == static_cast<std::size_t>(-1) || length == static_cast<std::size_t>(-2) || length == 0) {
            width += length == 0 ? 2 : 4;  // \ooo
            text.remove_prefix(1);
            state = {};
            continue;
        }
        const int cells = wcwidth(character);
        width += cells < 0 ? 2 : cells;
        text.remove_prefix(length);
    }
    return width;
}

void writeTerminal(std::string_view text)
{
    [[maybe_unused]] const auto written = write(STDOUT_FILENO, text.data(), text.size());
}

std::size_t commonLength(const std::vector<std::string>& words)
{
    std::size_t length = words.front().size();
    for (const std::string& word : words) {
        const auto end = std::mismatch(word.begin(), word.end(), words.front().begin(), words.front().end()).first;
        length = std::min(length, static_cast<std::size_t>(end - word.begin()));
    }
    return length;
}

}  // namespace

LineEditor::LineEditor(Help help, std::string historyFile)
    : help_(std::move(help)), historyFile_(std::move(historyFile)), history_(history_init())
{
    // Bytes beyond ASCII are shown as characters where the environment says which they are.
    std::setlocale(LC_CTYPE, "");
    editor_.reset(el_init("receiver-bench", stdin, stdout, stderr));
    EditLine* editor = editor_.get();
    el_set(editor, EL_CLIENTDATA, this);
    el_set(editor, EL_PROMPT, prompt);
    el_set(editor, EL_EDITOR, "emacs");
    el_set(editor, EL_SIGNAL, 0);
    el_set(editor, EL_GETCFN, readCharacter);
    // Its narrow form copies the names and never frees them.
    el_wset(editor, EL_ADDFN, L"complete-word", L"completes a command or argument word", completeWord);
    el_set(editor, EL_BIND, "^I", "complete-word", nullptr);
    el_set(editor, EL_BIND, "^R", "em-inc-search-prev", nullptr);
    HistEvent event{};
    history(history_.get(), &event, H_SETSIZE, kRemembered);
    history(history_.get(), &event, H_SETUNIQUE, 1);
    if (!historyFile_.empty()) {
        history(history_.get(), &event, H_LOAD, historyFile_.c_str());
    }
    el_set(editor, EL_HIST, history, history_.get());
}

LineEditor::~LineEditor()
{
    setEditedLine(nullptr);
    HistEvent event{};
    if (!historyFile_.empty()) {
        history(history_.get(), &event, H_SAVE, historyFile_.c_str());
    }
}

std::optional<std::string> LineEditor::next()
{
    int count = 0;
    setEditedLine(this);
    const char* line = el_gets(editor_.get(), &count);
    setEditedLine(nullptr);
    if (failure_) {
        writeTerminal("\r\n");
        std::rethrow_exception(std::exchange(failure_, nullptr));
    }
    if (line == nullptr || count <= 0) {
        writeTerminal("\r\n");
        return std::nullopt;
    }
    remember(line);
    std::string text(line, static_cast<std::size_t>(count));
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) {
        text.pop_back();
    }
    return text;
}

void LineEditor::remember(const char* line)
{
    if (*line != '\n' && *line != '\0') {
        HistEvent event{};
        history(history_.get(), &event, H_ENTER, line);
    }
}

void LineEditor::hide()
{
    const LineInfo* line = el_line(editor_.get());
    const auto before = static_cast<std::size_t>(line->cursor - line->buffer);
    const int row = (kPromptWidth + widthOf({line->buffer, before})) / columns();
    std::string text = "\r";
    if (row > 0) {
        text += "\x1b[" + std::to_string(row) + "A";
    }
    writeTerminal(text + "\x1b[J");
}

void LineEditor::show(bool lineEnded)
{
    if (!lineEnded) {
        writeTerminal("\r\n");
    }
    el_resize(editor_.get());
    el_set(editor_.get(), EL_REFRESH);
}

LineEditor& LineEditor::of(EditLine* editor)
{
    void* self = nullptr;
    el_get(editor, EL_CLIENTDATA, &self);
    return *static_cast<LineEditor*>(self);
}

// The library is C: nothing may be thrown through it.
int LineEditor::readCharacter(EditLine* editor, wchar_t* character)
{
    LineEditor& self = of(editor);
    try {
        return self.readOne(*character) ? 1 : 0;
    } catch (...) {
        self.failure_ = std::current_exception();
        return 0;
    }
}

bool LineEditor::readOne(wchar_t& character)
{
    while (true) {
        help_.await();
        char byte = 0;
        const auto count = read(STDIN_FILENO, &byte, 1);
        if (count < 0 && (errno == EINTR || errno == EAGAIN)) {
            continue;
        }
        if (count <= 0) {
            return false;
        }
        const auto length = std::mbrtowc(&character, &byte, 1, &decoding_);
        if (length == static_cast<std::size_t>(-2)) {
            continue;  // a character of several bytes
        }
        if (length == static_cast<std::size_t>(-1)) {
            decoding_ = {};
            continue;  // part of none
        }
        if (length == 0) {
            character = L'\0';
        }
        return true;
    }
}

unsigned char LineEditor::completeWord(EditLine* editor, wint_t /*key*/)
{
    LineEditor& self = of(editor);
    try {
        return self.complete();
    } catch (...) {
        self.failure_ = std::current_exception();
        return CC_EOF;
    }
}

unsigned char LineEditor::complete()
{
    const LineInfo* line = el_line(editor_.get());
    const std::string_view text(line->buffer, static_cast<std::size_t>(line->cursor - line->buffer));
    std::size_t replaced = 0;
    const std::vector<std::string> words = help_.complete(text, replaced);
    if (words.empty()) {
        return CC_REFRESH_BEEP;
    }
    const std::string known(text.substr(text.size() - replaced));
    const std::string more = words.front().substr(known.size(), commonLength(words) - known.size());
    if (more.empty()) {
        list(words);
        return CC_REDISPLAY;
    }
    return el_insertstr(editor_.get(), more.c_str()) == 0 ? CC_REFRESH : CC_ERROR;
}

void LineEditor::list(const std::vector<std::string>& words)
{
    std::size_t width = 0;
    for (const std::string& word : words) {
        width = std::max(width, word.size() + 2);
    }
    const std::size_t perRow = std::max<std::size_t>(1, static_cast<std::size_t>(columns()) / width);
    std::string text = "\r\n";
    for (std::size_t at = 0; at < words.size(); ++at) {
        const bool last = (at + 1) % perRow == 0 || at + 1 == words.size();
        text += words[at] + (last ? "\r\n" : std::string(width - words[at].size(), ' '));
    }
    writeTerminal(text);
}
