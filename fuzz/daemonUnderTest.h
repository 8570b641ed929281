// The daemon on the recording platform and a pretended line, for fuzz targets: one process-wide record with the state
// of a receiver fresh from the factory, faults chosen by the input, and the rules that hold after every command.
#pragma once

#include <set>
#include <string>
#include <utility>

#include "core/consoleParameter.h"
#include "fuzz/byteReader.h"
#include "support/recordingPlatform.h"
#include "support/replyForms.h"

/// In an input of the daemon's targets ESC begins an instruction to the surroundings.
inline constexpr char kInstruction = '\x1b';

class DaemonUnderTest {
public:
    static DaemonUnderTest& instance();

    [[nodiscard]] ConsoleParameter& record() { return record_; }

    /// A fresh role for a new input: 'i' is the internal one, any other byte the external one.
    void takeRole(char role);

    /// Carries out an instruction, given without its ESC. False when its letter is none of these:
    ///   f KIND TIMES AFTER   calls of the platform fail
    ///   n PATH zero          queries of a leaf fail
    ///   s PATH=JSON zero     a leaf of the settings holds something else; t: of the status
    ///   p KIND               how every peer answers
    ///   w KIND TIMES         the line's writes, opens or requests fail
    ///   c COUNT              clients on port 9001
    ///   u STATE              the link goes up or down
    ///   v LEVEL STATE        a log level goes on or off
    bool instruct(ByteReader& input);
    /// All instructions that the input begins with.
    void instructAll(ByteReader& input);

    /// What is written reaches the far end.
    [[nodiscard]] bool lineIsSound();

    /// A command line is about to run. Line ends in it may be stored, and then stand in replies up to the input's end.
    TextsOf noteLine(std::string_view line);

    /// What was recorded up to now follows the rules of the platform; it is taken.
    recording::Record check();

    /// Undoes all instructions, and what the input has changed in the stores, after a last command is answered as ever.
    void finish();
    /// Undoes the instructions.
    void heal();

private:
    DaemonUnderTest();
    void undoChanges();
    void setLeaf(recording::Store store, const std::string& assignment);
    void setPeers(recording::PeerAnswer::Kind kind);

    using Place = std::pair<recording::Store, std::string>;

    ConsoleParameter record_;
    std::map<std::string, std::string> base_[2];
    std::set<std::string> paths_;  // where a leaf may stand
    std::set<Place> touched_;
    std::set<std::string> failing_;  // paths of failing queries
    bool faults_ = false;
    bool otherPeers_ = false;
    TextsOf texts_ = TextsOf::console;
    int inputs_ = 0;
};
