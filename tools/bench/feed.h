// What is typed on its way to the console: straight to its port, or by way of the recorder.
#pragma once

#include <string>
#include <string_view>

#include "bench/receiver.h"
#include "bench/recorder.h"

class Feed {
public:
    /// Without a recorder: null.
    Feed(Receiver& receiver, Recorder* recorder) : receiver_(receiver), recorder_(recorder) {}

    /// Bytes as they come, with their line ends.
    void type(std::string_view bytes);
    /// A line without its end, of a script: returns once every reply to it has come.
    void typeLine(const std::string& line);

    /// Attends until there is something to read from `input`. Throws Refused when the port is gone.
    void await(int input);
    /// Has everything typed until now done with.
    void settle();

private:
    Receiver& receiver_;
    Recorder* recorder_;
};
