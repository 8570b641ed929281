#include "core/consoleParameter.h"

ConsoleParameter* pConsoleParameterA = nullptr;

std::atomic<int> g_valensLinkStatus{0};
std::atomic<int> g_connect9001Count{0};
std::atomic<int> wpIsSuccess{0};
