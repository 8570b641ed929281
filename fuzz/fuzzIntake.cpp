// A byte stream into the intake, with the loop, the dispatcher and every command behind it. The first byte is the role;
// of the others ESC and a letter is an instruction (daemonUnderTest.h, and below), ESC and any other byte is that byte.
//   g   the line is quiet for 30 ms          G   for 101 times that, after which a partial line is given up
//   x   a read ends here                     a   a read finds nothing after all
//   e   a read fails: the device is gone     z   a read finds the end of the file, likewise
//   r COUNT BYTE   the byte comes 120 times COUNT, so that a short input fills every buffer; a line end comes COUNT
//       times. An input gets no more of them than overflow a line.
#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>

#include "core/uartEvenbusReadline.h"
#include "fuzz/daemonUnderTest.h"
#include "fuzz/loopFiber.h"
#include "fuzz/pretendSystem.h"
#include "fuzz/require.h"

namespace {

constexpr int kPartialLineGaps = 101;
constexpr std::size_t kRepeat = 120;
constexpr std::size_t kMostRepeated = 93 * kRepeat;  // more than a line holds

// The far end of the line, as the input plays it.
class FarEnd {
public:
    void begin(const ByteReader& input)
    {
        input_ = input;
        gaps_ = 0;
        repeats_ = 0;
        repeated_ = 0;
        pending_ = Pending::none;
    }

    pretend::Ready select(bool away, LoopFiber& loop)
    {
        while (true) {
            if (gaps_ > 0) {
                --gaps_;
                return pretend::Ready::quiet;
            }
            if (pending_ == Pending::none && repeats_ > 0) {
                pending_ = Pending::byte;
            }
            if (pending_ == Pending::none) {
                if (input_.empty()) {
                    loop.pause();
                    continue;
                }
                takeInstructions();
            }
            if (pending_ != Pending::none) {
                if (away) {  // what is sent to a device that is away is lost
                    pending_ = Pending::none;
                    repeats_ = 0;
                    pretend::system().clockNs += 1'000'000'000;
                    return pretend::Ready::quiet;
                }
                return pretend::Ready::bytes;
            }
        }
    }

    ssize_t read(char* buffer, std::size_t length)
    {
        const Pending what = pending_;
        pending_ = Pending::none;
        switch (what) {
        case Pending::error: errno = EIO; return -1;
        case Pending::nothing: errno = EAGAIN; return -1;
        case Pending::end: return 0;
        default: break;
        }
        std::size_t count = 0;
        for (; repeats_ > 1 && count + 1 < length; --repeats_) {
            buffer[count++] = byte_;
        }
        buffer[count++] = byte_;
        repeats_ -= repeats_ > 0 ? 1 : 0;
        if (repeats_ > 0) {
            return static_cast<ssize_t>(count);
        }
        while (count < length && !input_.empty() && input_.peek() != kInstruction) {
            buffer[count++] = input_.next();
        }
        return static_cast<ssize_t>(count);
    }

private:
    enum class Pending { none, byte, error, nothing, end };

    // Up to the next thing that a select() sees.
    void takeInstructions()
    {
        byte_ = input_.next();
        if (byte_ != kInstruction) {
            pending_ = Pending::byte;
            return;
        }
        if (DaemonUnderTest::instance().instruct(input_)) {
            return;
        }
        const char letter = input_.next();
        switch (letter) {
        case 'g': gaps_ = 1; break;
        case 'G': gaps_ = kPartialLineGaps; break;
        case 'x': break;
        case 'a': pending_ = Pending::nothing; break;
        case 'e': pending_ = Pending::error; break;
        case 'z': pending_ = Pending::end; break;
        case 'r': {
            const std::size_t count = input_.below(94);
            byte_ = input_.next();
            const std::size_t wanted = byte_ == '\r' || byte_ == '\n' ? count : kRepeat * count;
            repeats_ = std::min(wanted, kMostRepeated - repeated_);
            repeated_ += repeats_;
            break;
        }
        default: byte_ = letter; pending_ = Pending::byte;
        }
    }

    ByteReader input_{nullptr, 0};
    int gaps_ = 0;
    std::size_t repeats_ = 0;   // of byte_, still to come
    std::size_t repeated_ = 0;  // of all instructions
    Pending pending_ = Pending::none;
    char byte_ = '\0';
};

class Intake {
public:
    static Intake& instance()
    {
        static Intake& intake = *new Intake;
        return intake;
    }

    void play(const ByteReader& input)
    {
        farEnd_.begin(input);
        const pretend::DaemonScope scope;
        loop_.resume();
    }

private:
    Intake()
    {
        pretend::system().select = [this](bool away) { return farEnd_.select(away, loop_); };
        pretend::system().read = [this](char* buffer, std::size_t length) { return farEnd_.read(buffer, length); };
    }

    FarEnd farEnd_;
    LoopFiber& loop_ = *new LoopFiber([] { runLoop(DaemonUnderTest::instance().record(), {nullptr, -1}); });
};

ByteReader scripted(const char* script)
{
    return {reinterpret_cast<const std::uint8_t*>(script), std::char_traits<char>::length(script)};
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    DaemonUnderTest& daemon = DaemonUnderTest::instance();
    Intake& intake = Intake::instance();
    ByteReader input(bytes, size);
    daemon.takeRole(input.next());
    intake.play(input);

    // The device comes back if it is away, what is left of a text or a line ends, and the next line is whole.
    daemon.heal();
    pretend::system().clockNs += 2'000'000'000;
    g_connect9001Count.store(0);
    intake.play(scripted("\x1bg\x1bg\r\x1bg\x1bg"));
    require(daemon.record().uart.hold() != nullptr, "a device that is back is opened");
    daemon.finish();
    intake.play(scripted("Blink sta\r\x1bg"));
    require(pretend::takeReplies() == "Blink off\r\n", "a line is answered after whatever came before");
    daemon.check();
    return 0;
}
