#include "callFailure.h"

#include <cstring>
#include <utility>

namespace Varnix::Test {

namespace {

constinit thread_local CallFailure* ofThread = nullptr;
constinit std::atomic<CallFailure*> ofProcess{nullptr};

} // namespace

CallFailure::CallFailure(std::string call, CallEffect effect, std::size_t first, std::size_t count,
                         Scope scope)
    : m_call(std::move(call)), m_effect(effect), m_first(first), m_count(count), m_scope(scope)
{
    if (m_scope == Scope::THREAD)
        ofThread = this;
    else
        ofProcess = this;
}

CallFailure::~CallFailure()
{
    if (m_scope == Scope::THREAD)
        ofThread = nullptr;
    else
        ofProcess = nullptr;
}

CallEffect CallFailure::effectOn(const char* call) noexcept
{
    if (std::strcmp(m_call.c_str(), call) != 0)
        return {};
    const std::size_t index = m_asked++;
    return index >= m_first && index - m_first < m_count ? m_effect : CallEffect();
}

CallEffect CallFailure::next(const char* call) noexcept
{
    CallFailure* const active = ofThread != nullptr ? ofThread : ofProcess.load();
    return active != nullptr ? active->effectOn(call) : CallEffect();
}

} // namespace Varnix::Test
