// The only diagnostics channel: messages by level and section, and a progress ticker for terminals.
#pragma once

#include "base/hashset.h"

#include <ostream>
#include <string>
#include <string_view>
#include <utility>

namespace tarq {

/// Sets the level of the message being written: `logger << loglevel(2) << "text" << EndLog`.
struct loglevel {
    explicit loglevel(int level) : n(level) {}
    int n;
};

/// Writes messages to a stream as they come. A message is what stands between two ends (EndLog or
/// FlushLog); it is written while its section is on and 0 <= its level <= the logger's level.
/// Levels: 0 always (the level of a message that sets none), 1 progress, 2 phases, 3 and 4 traces.
/// Borrows the stream. Loops ask enabled() first, so that a trace that is off costs a comparison.
class Logger {
public:
    /// Writes to the standard output.
    Logger();
    /// out  borrowed, not null; a terminal if it is one of the standard streams and that is one
    explicit Logger(std::ostream* out);
    Logger(const Logger&) = delete;
    Logger& operator=(const Logger&) = delete;

    void set_level(int level);
    int get_level() const { return level_; }

    /// The current message must have ended. As in the constructor; the second form is told what the
    /// stream is.
    void set_output(std::ostream* out);
    void set_output(std::ostream* out, bool is_terminal);

    /// Turns all sections on, also those not named yet. The state at the start.
    void enable_all_sections();
    /// Turns one section on; if all were on, only this one is on afterwards.
    void enable_section(std::string_view section);
    /// Turns all sections off.
    void disable_sections();
    bool is_section_enabled(std::string_view section) const
    {
        return all_sections_ || sections_.contains(std::string(section));
    }

    /// Whether a message of this level in this section would be written.
    bool enabled(int level, std::string_view section) const
    {
        return 0 <= level && level <= level_ && is_section_enabled(section);
    }

    /// Begins a message in a section, and mutes it if that is off.
    Logger& operator()(std::string_view section);

    Logger& operator<<(loglevel level)
    {
        message_level_ = level.n;
        update();
        return *this;
    }
    Logger& operator<<(Logger& (*manipulator)(Logger&)) { return manipulator(*this); }
    template <class T>
    Logger& operator<<(const T& v)
    {
        if (writing_) {
            *out_ << v;
        }
        return *this;
    }

    /// Shows the next of the four ticks in place of the last one. Only on a terminal, from level 1.
    void tick();

private:
    friend Logger& EndLog(Logger&);
    friend Logger& FlushLog(Logger&);
    friend Logger& TTYLog(Logger&);

    void update() { writing_ = !muted_ && 0 <= message_level_ && message_level_ <= level_; }
    void reset();

    std::ostream* out_;
    bool is_terminal_ = false;
    bool all_sections_ = true;
    bool muted_ = false;  // the current message: its section is off, or TTYLog met no terminal
    bool writing_ = true; // not muted and the level fits
    int level_ = 0;
    int message_level_ = 0;
    unsigned tick_ = 0;
    hsh::HashSet<std::string> sections_; // those on, unless all are
};

/// Ends a message with a newline and flushes.
Logger& EndLog(Logger& logger);
/// Ends a message without a newline and flushes.
Logger& FlushLog(Logger& logger);
/// Suppresses the rest of the message when the stream is no terminal.
Logger& TTYLog(Logger& logger);

} // namespace tarq
