#include "scriptrunner.h"

#include "base/configuration.h"
#include "processstats.h"
#include "scriptinterpreter.h"
#include "stop.h"

#include <iomanip>
#include <iostream>
#include <memory>
#include <new>
#include <sstream>

namespace tarq::tool {

namespace {

// Longer messages quote some huge token, and are cut.
constexpr size_t MAX_MESSAGE = 1000;

/// Takes what the library logs to the diagnostic channel, wherever that leads at the time.
class LogBuffer : public std::streambuf {
public:
    explicit LogBuffer(OutputChannel* channel) : channel_(channel) {}

protected:
    int_type overflow(int_type c) override
    {
        if (c != traits_type::eof()) {
            const char byte = traits_type::to_char_type(c);
            channel_->write({&byte, 1});
        }
        return traits_type::not_eof(c);
    }
    std::streamsize xsputn(const char* text, std::streamsize n) override
    {
        channel_->write({text, static_cast<size_t>(n)});
        return n;
    }

private:
    OutputChannel* channel_;
};

/// Sends std::cout, on which the library logs, to a buffer while it lives. Answers do not pass
/// through std::cout, so a verbose run keeps them apart.
class Redirection {
public:
    explicit Redirection(std::streambuf* target) : old_(std::cout.rdbuf(target)) {}
    ~Redirection() { std::cout.rdbuf(old_); }
    Redirection(const Redirection&) = delete;
    Redirection& operator=(const Redirection&) = delete;

private:
    std::streambuf* old_;
};

class Runner {
public:
    Runner(InputBuffer* input, const LibraryOptions& library, const CommandLine& line)
        : input_(input), stream_(input), driver_(stream_), log_buffer_(&channels_.diagnostic),
          log_(&log_buffer_)
    {
        initial_.library = library;
        initial_.print_models = line.model;
        initial_.collect = line.collect;
        if (line.model) {
            initial_.library.set("model_generation", "true");
        }
        options_ = initial_;
        renew();
    }

    int run();
    void print_stats();

private:
    using Wish = ScriptInterpreter::Wish;

    void renew();
    bool run_command();
    void report(const char* message);

    InputBuffer* input_;
    std::istream stream_;
    SmtLib2Driver driver_;
    Channels channels_;
    LogBuffer log_buffer_;
    Redirection log_;
    StopTest test_;
    ScriptOptions initial_;
    ScriptOptions options_;
    std::unique_ptr<Environment> env_;
    std::unique_ptr<ScriptInterpreter> interpreter_;
    bool failed_ = false;
    bool cut_off_ = false; // by a stop, outside of a check
};

/// Makes environment and interpreter anew, with the options as they stand now.
void Runner::renew()
{
    interpreter_.reset();
    Configuration config;
    options_.library.build(&config);
    env_ = std::make_unique<Environment>(&config);
    interpreter_ =
        std::make_unique<ScriptInterpreter>(env_.get(), &options_, &channels_, &driver_, &test_);
}

void Runner::report(const char* message)
{
    std::string text = "line " + std::to_string(driver_.get_lineno()) + ": " + message;
    if (text.size() > MAX_MESSAGE) {
        text.resize(MAX_MESSAGE);
        text += "...";
    }
    channels_.regular.line("(error " + quote_string(text) + ")");
    failed_ = true;
}

/// Runs the next command. Returns false at the end of the script.
bool Runner::run_command()
{
    if (!Stop::requested()) {
        Stop::owe("unknown\n", channels_.regular.fd());
    }
    interpreter_->begin_command();
    try {
        if (!driver_.parse_command(interpreter_.get())) {
            cut_off_ = cut_off_ || input_->was_cut();
            return false;
        }
        interpreter_->end_command();
    } catch (const TerminationTest::terminated&) {
        interpreter_->undo_command();
        cut_off_ = true;
    } catch (const std::bad_alloc&) {
        Stop::request(StopReason::memout);
        interpreter_->undo_command();
        cut_off_ = true;
    } catch (const std::exception& e) {
        interpreter_->undo_command();
        if (input_->was_cut()) {
            cut_off_ = true; // the command ends in the middle because the input was ended
            return false;
        }
        report(e.what());
        // Loose tokens between commands are one mistake, however many they are.
        if (driver_.command_text().substr(0, 1) != "(") {
            driver_.skip_command();
        }
    }
    return true;
}

int Runner::run()
{
    bool more = true;
    while (more && !Stop::overdue()) {
        more = run_command();
        switch (interpreter_->wants()) {
        case Wish::nothing:
            break;
        case Wish::new_environment:
            renew();
            break;
        case Wish::reset:
            options_ = initial_;
            channels_.regular.redirect("stdout");
            channels_.diagnostic.redirect("stderr");
            renew();
            break;
        case Wish::exit:
            more = false;
            break;
        }
    }
    // What was cut off by a stop may have held a check, which nothing has answered yet.
    cut_off_ = cut_off_ || (more && Stop::overdue());
    if (cut_off_ && Stop::is_owed()) {
        Stop::owe(nullptr, 0);
        channels_.regular.line("unknown");
    }
    return failed_ ? 1 : 0;
}

void Runner::print_stats()
{
    std::ostringstream out;
    env_->print_stats(out, "; ");
    const Environment::RawStats raw = env_->get_raw_stats();
    if (raw.sat_decisions > 0) {
        out << "; :time-to-first-decision " << std::fixed << std::setprecision(3)
            << raw.first_decision_seconds << '\n';
    }
    print_process_stats(out, "; ");
    channels_.regular.write(out.str());
}

} // namespace

int run_script(InputBuffer* input, const LibraryOptions& options, const CommandLine& line)
{
    Runner runner(input, options, line);
    const int status = runner.run();
    if (line.stats) {
        runner.print_stats();
    }
    Stop::leave(status);
    return status;
}

} // namespace tarq::tool
