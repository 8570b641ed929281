#include "bench/recorder.h"

#include <cerrno>
#include <cstring>
#include <fstream>

#include "bench/notes.h"
#include "bench/stores.h"
#include "support/failure.h"
#include "transcript/transcript.h"

using transcript::GivenPeer;
using transcript::Step;

namespace {

GivenPeer givenPeer(const Happening& call)
{
    using From = PeerAnswer::How;
    using To = GivenPeer::Answer;
    GivenPeer peer{call.service, call.name, To::completes, {}};
    switch (call.answer.how) {
    case From::answers:
        peer.answer = To::answers;
        peer.text = call.answer.data;
        break;
    case From::fails: peer.answer = To::fails; break;
    case From::silent: peer.answer = To::silent; break;
    case From::usual:
    case From::completes: break;
    }
    return peer;
}

[[noreturn]] void refuseFile(const std::filesystem::path& file)
{
    throw Refused("the transcript '" + file.string() + "' cannot be written: " + std::strerror(errno) +
                  "; name with --record a file in a directory that is there and yours");
}

/// A change that somebody else has made, as what is given and published then.
std::vector<std::string> givenByOthers(const Happening& event)
{
    std::vector<std::string> lines;
    if (event.service != "publisher" && event.text) {
        const auto store = event.service == "settings" ? transcript::Store::settings : transcript::Store::status;
        for (const auto& [path, json] : leavesOf(*event.text)) {
            lines.push_back(toLine(transcript::Given(transcript::GivenLeaf{store, path, json})));
        }
    }
    return lines;
}

}  // namespace

Recorder::Recorder(Receiver& receiver, std::filesystem::path file, std::set<std::string> absentPeers)
    : file_(std::move(file)), console_(receiver, false), given_(givenNow()), factoryItems_(factoryItems()),
      absentPeers_(std::move(absentPeers))
{
    console_.keepForeign();
    if (!std::ofstream(file_, std::ios::app)) {
        refuseFile(file_);
    }
}

void Recorder::see(const Happening& happening)
{
    console_.see(happening);
    if (begun_ && happening.kind == Happening::Kind::peerCall) {
        noteAnswer(happening);
    } else if (begun_ && happening.kind == Happening::Kind::failure && absentPeers_.contains(happening.service)) {
        noteAbsence(happening);
    }
}

// A peer that is absent is so from the start.
void Recorder::noteAbsence(const Happening& failure)
{
    const GivenPeer absent{failure.service, failure.name, GivenPeer::Answer::absent, {}};
    std::string line = toLine(transcript::Given(absent));
    if (inForce_.emplace(std::pair(failure.service, failure.name), line).second) {
        given_.push_back(std::move(line));
    }
}

void Recorder::noteAnswer(const Happening& call)
{
    const std::string line = toLine(transcript::Given(givenPeer(call)));
    const std::string usual =
        toLine(transcript::Given(GivenPeer{call.service, call.name, GivenPeer::Answer::completes, {}}));
    std::string& known = inForce_.try_emplace({call.service, call.name}, usual).first->second;
    if (known != line) {
        known = line;
        answers_.push_back(line);
    }
}

void Recorder::begin()
{
    console_.start();
    begun_ = true;
}

void Recorder::type(std::string_view bytes)
{
    partial_ += bytes;
    for (std::size_t end = 0; (end = partial_.find_first_of("\r\n")) != std::string::npos;) {
        const bool both = partial_.compare(end, 2, "\r\n") == 0;
        const std::size_t length = end + (both ? 2 : 1);
        const std::string line = partial_.substr(0, length);
        partial_.erase(0, length);
        typeStep(line);
    }
}

void Recorder::typeRest()
{
    const std::string rest = std::exchange(partial_, {});
    if (!rest.empty()) {
        typeStep(rest);
    }
}

void Recorder::typeStep(const std::string& bytes)
{
    takeForeign();
    Step step;
    step.bytes = bytes;
    try {
        takeDown(step, console_.perform(step));
    } catch (const Stopped&) {
        takeDown(step, console_.collect(step));  // the line has been typed, and its reply perhaps been seen
        throw;
    }
}

void Recorder::takeForeign()
{
    for (const Happening& happening : console_.takeForeign()) {
        Step step;
        step.kind = happening.kind == Happening::Kind::call ? Step::Kind::lpc : Step::Kind::publish;
        step.name = happening.name;
        step.text = happening.text;
        if (step.kind == Step::Kind::publish) {
            for (std::string& line : givenByOthers(happening)) {
                steps_.push_back(std::move(line));
            }
        }
        takeDown(step, console_.collect(step));
    }
}

void Recorder::takeDown(const Step& step, const transcript::Observed& seen)
{
    // In a transcript commands do nothing: what one has written by now is given to the step, which may read it back.
    const Lines written = seen.runs.empty() ? Lines() : newFactoryItems();
    for (const Lines& lines : {answers_, written, Lines{toLine(step)}, toLines(seen)}) {
        steps_.insert(steps_.end(), lines.begin(), lines.end());
    }
    answers_.clear();
}

Recorder::Lines Recorder::newFactoryItems()
{
    Lines lines;
    auto items = factoryItems();
    for (const auto& [key, text] : items) {
        const auto before = factoryItems_.find(key);
        if (before == factoryItems_.end() || before->second != text) {
            lines.push_back(toLine(transcript::Given(transcript::GivenFactory{key, text})));
        }
    }
    factoryItems_ = std::move(items);
    return lines;
}

void Recorder::save()
{
    if (steps_.empty()) {
        note("receiver-bench: nothing was typed, so there is nothing to record");
        return;
    }
    std::ofstream stream(file_, std::ios::binary | std::ios::trunc);
    stream << "== a recorded session\n";
    for (const Lines* lines : {&given_, &steps_}) {
        for (const std::string& line : *lines) {
            stream << line << '\n';
        }
    }
    stream.close();
    if (!stream) {
        refuseFile(file_);
    }
}
