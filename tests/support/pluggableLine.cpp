#include "support/pluggableLine.h"

#include <filesystem>

PseudoTerminal& PluggableLine::plug()
{
    terminal_.emplace();
    std::filesystem::create_symlink(terminal_->device(), path_);
    return *terminal_;
}

void PluggableLine::unplug()
{
    std::filesystem::remove(path_);
    terminal_.reset();
}
