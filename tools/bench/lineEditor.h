// A line typed at a terminal, with editing, history and completion (editline(3)). Whatever else the bench writes there
// meanwhile stands above it.
#pragma once

#include <cwchar>
#include <exception>
#include <functional>
#include <histedit.h>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "bench/notes.h"

class LineEditor : public EditedLine {
public:
    struct Help {
        /// Attends until standard input has something to read. What it throws comes out of `next`.
        std::function<void()> await;
        /// What may stand in place of the end of this text.
        std::function<std::vector<std::string>(std::string_view text, std::size_t& replaced)> complete;
    };

    /// The lines are kept in a file, unless its name is empty.
    LineEditor(Help help, std::string historyFile);
    LineEditor(const LineEditor&) = delete;
    LineEditor& operator=(const LineEditor&) = delete;
    ~LineEditor() override;

    /// The next line, without its end. Nothing at the end of the input.
    std::optional<std::string> next();

    void hide() override;
    void show(bool lineEnded) override;

private:
    struct EndHistory {
        void operator()(History* history) const { history_end(history); }
    };
    struct EndEditor {
        void operator()(EditLine* editor) const { el_end(editor); }
    };

    static LineEditor& of(EditLine* editor);
    static int readCharacter(EditLine* editor, wchar_t* character);
    static unsigned char completeWord(EditLine* editor, wint_t key);

    bool readOne(wchar_t& character);
    unsigned char complete();
    void list(const std::vector<std::string>& words);
    void remember(const char* line);

    Help help_;
    std::string historyFile_;
    std::unique_ptr<History, EndHistory> history_;
    std::unique_ptr<EditLine, EndEditor> editor_;
    std::exception_ptr failure_;
    std::mbstate_t decoding_{};
};
