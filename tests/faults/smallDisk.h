// A disk of a megabyte that can be filled and emptied, mounted for this process and those it starts alone: it is gone
// when they are.
#pragma once

#include <string>

class SmallDisk {
public:
    /// Makes the directory. Throws std::system_error where nobody may mount anything, also not in a user namespace of
    /// his own; the process must have one thread only then.
    explicit SmallDisk(const std::string& directory);
    ~SmallDisk();
    SmallDisk(const SmallDisk&) = delete;
    SmallDisk& operator=(const SmallDisk&) = delete;

    void fill() const;
    void empty() const;

private:
    std::string directory_;
    std::string filler_;
};
