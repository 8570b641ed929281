// A running receiver as the console of a transcript: carries out steps and collects what they bring about.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "bench/receiver.h"
#include "transcript/serialConsole.h"

class BenchConsole : public transcript::SerialConsole {
public:
    BenchConsole(Receiver& receiver, bool internalRole) : SerialConsole(internalRole), receiver_(receiver) {}

    /// To be told everything that happens in the receiver.
    void see(const Happening& happening);

    void give(const transcript::Given& given) override;
    /// Waits until the receiver's start has had all its effects, and forgets them.
    void start() override;
    transcript::Observed perform(const transcript::Step& step) override;
    transcript::Text read(transcript::Store store, const std::string& path) override;

    /// As perform, for a step that somebody else has carried out.
    transcript::Observed collect(const transcript::Step& step);
    /// Events and calls of the daemon that others than the daemon and the bench have sent since the last time.
    std::vector<Happening> takeForeign() { return std::exchange(foreign_, {}); }
    [[nodiscard]] bool hasForeign() const { return !foreign_.empty(); }

    /// Whether events and calls of others are kept apart; else they count as the console's.
    void keepForeign() { keepsForeign_ = true; }
    /// What the receiver's peers are to be like, until it is started.
    PeerPlan& peerPlan() { return peers_; }

protected:
    void passLoop() override;
    void passListener() override;
    void send(const std::string& bytes) override { receiver_.type(bytes); }
    void awaitAllRead() override;
    [[nodiscard]] std::size_t logSize() const override { return receiver_.consoleLog().size(); }
    [[nodiscard]] std::string logFrom(std::size_t start) const override { return receiver_.consoleLog().from(start); }
    bool becomesTrueWithin(std::chrono::milliseconds patience, const Condition& condition) override;

private:
    struct Place {
        std::size_t logStart = 0;
        bool extraBurst = false;
    };

    bool carryOut(const transcript::Step& step);
    void pass();
    transcript::Observed take(const transcript::Step& step, Place place);
    void apply(const transcript::GivenLeaf& leaf);
    void apply(const transcript::GivenFactory& item);
    void apply(const transcript::GivenPeer& peer);
    void apply(const transcript::GivenRunStatus& run);
    static void apply(const transcript::GivenLog& log);
    static void apply(const transcript::GivenFault& fault);
    bool isForeign(const Happening& happening) const;

    Receiver& receiver_;
    PeerPlan peers_{.otherwise = PeerAnswer::How::completes};
    bool started_ = false;
    bool keepsForeign_ = false;
    transcript::Observed seen_;
    std::vector<Happening> foreign_;
    std::string lastMark_;  // the newest that has passed over the bus
};
