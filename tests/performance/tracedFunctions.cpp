#include "trace.h"

// What the path past a trace event is read from: functions that do nothing else.

using namespace Varnix::Backend;

extern "C" void tracesError(const char* text)
{
    Trace::error([=] { return std::string(text); });
}

extern "C" void tracesInfo(const char* text)
{
    Trace::info([=] { return std::string(text); });
}

extern "C" void tracesTrace1(const char* text)
{
    Trace::trace1([=] { return std::string(text); });
}
