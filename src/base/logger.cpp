#include "base/logger.h"

#include "base/assertion.h"

#include <cstdio>
#include <iostream>

#include <unistd.h>

namespace tarq {

namespace {

/// A C++ stream does not tell its descriptor, so only the standard ones can be recognised.
bool is_terminal(const std::ostream* out)
{
    if (out->rdbuf() == std::cout.rdbuf()) {
        return isatty(fileno(stdout)) == 1;
    }
    if (out->rdbuf() == std::cerr.rdbuf() || out->rdbuf() == std::clog.rdbuf()) {
        return isatty(fileno(stderr)) == 1;
    }
    return false;
}

} // namespace

Logger::Logger() : Logger(&std::cout) {}

Logger::Logger(std::ostream* out) : out_(out), is_terminal_(is_terminal(out)) {}

void Logger::set_level(int level)
{
    level_ = level;
    update();
}

void Logger::set_output(std::ostream* out)
{
    set_output(out, is_terminal(out));
}

void Logger::set_output(std::ostream* out, bool is_terminal)
{
    TARQ_ASSERT(out);
    out_ = out;
    is_terminal_ = is_terminal;
}

void Logger::enable_all_sections()
{
    all_sections_ = true;
    sections_.clear();
}

void Logger::enable_section(std::string_view section)
{
    all_sections_ = false;
    sections_.insert(std::string(section));
}

void Logger::disable_sections()
{
    all_sections_ = false;
    sections_.clear();
}

Logger& Logger::operator()(std::string_view section)
{
    muted_ = !is_section_enabled(section);
    update();
    return *this;
}

void Logger::tick()
{
    static constexpr char TICKS[] = {'-', '\\', '|', '/'};
    if (is_terminal_ && level_ >= 1) {
        *out_ << TICKS[tick_] << '\b' << std::flush;
        tick_ = (tick_ + 1) % sizeof(TICKS);
    }
}

void Logger::reset()
{
    muted_ = false;
    message_level_ = 0;
    update();
}

Logger& EndLog(Logger& logger)
{
    if (logger.writing_) {
        *logger.out_ << '\n' << std::flush;
    }
    logger.reset();
    return logger;
}

Logger& FlushLog(Logger& logger)
{
    if (logger.writing_) {
        *logger.out_ << std::flush;
    }
    logger.reset();
    return logger;
}

Logger& TTYLog(Logger& logger)
{
    if (!logger.is_terminal_) {
        logger.muted_ = true;
        logger.update();
    }
    return logger;
}

} // namespace tarq
