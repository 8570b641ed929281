// A live session as a transcript: what the stores held, then each line with all that came of it. Each line is done with
// before the next is passed on, so that it is told apart what came of which.
#pragma once

#include <filesystem>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "bench/benchConsole.h"
#include "bench/receiver.h"
#include "transcript/backend.h"

class Recorder {
public:
    /// Notes what the stores hold now: before the receiver is started, with stores that have been seeded. Throws
    /// Refused when the file cannot be written.
    Recorder(Receiver& receiver, std::filesystem::path file, std::set<std::string> absentPeers);

    void see(const Happening& happening);
    /// The receiver has been started.
    void begin();

    /// Types the whole lines among these bytes, one by one; the rest waits for its end.
    void type(std::string_view bytes);
    /// Types what still waits for the end of its line.
    void typeRest();
    /// Takes down what others have brought about, if they have.
    void takeForeign();

    /// Writes the transcript. Throws Refused.
    void save();

private:
    using Lines = std::vector<std::string>;

    void typeStep(const std::string& bytes);
    void takeDown(const transcript::Step& step, const transcript::Observed& seen);
    void noteAnswer(const Happening& call);
    void noteAbsence(const Happening& failure);
    Lines newFactoryItems();

    std::filesystem::path file_;
    BenchConsole console_;
    Lines given_;
    Lines steps_;
    Lines answers_;  // of peers, in this step, that are others than before
    std::map<std::pair<std::string, std::string>, std::string> inForce_;
    std::map<std::string, std::string> factoryItems_;
    std::set<std::string> absentPeers_;
    std::string partial_;
    bool begun_ = false;
};
