// Options, information, echo, and the commands that nothing stands behind.
#include "scriptinterpreter.h"

#include "env/version.h"
#include "sourcetext.h"

#include <algorithm>

namespace tarq::tool {

namespace {

// Commands of the language, or common extensions of it, that the program knows and can't serve.
constexpr std::string_view UNSUPPORTED[] = {"define-fun-rec",   "define-funs-rec",
                                            "declare-datatype", "declare-datatypes",
                                            "get-abduct",       "get-qe",
                                            "get-timeout-core", "simplify",
                                            "block-model",      "block-model-values"};

} // namespace

void ScriptInterpreter::unsupported()
{
    respond("unsupported");
}

// ---------------------------------------------------------------- options

void ScriptInterpreter::set_logic(std::string_view name)
{
    if (options_->has_logic) {
        raise("set-logic is invalid at this point");
    }
    options_->logic = name;
    options_->has_logic = true;
    // a script may name its logic late; then the environment stays as it is
    if (!is_started_ && options_->library.set_logic(name)) {
        wish_ = Wish::new_environment;
    }
}

void ScriptInterpreter::set_option(std::string_view key, ValueKind kind, std::string_view value)
{
    switch (set_script_option(key, kind, value, is_started_, options_, channels_)) {
    case OptionEffect::none:
        break;
    case OptionEffect::unsupported:
        unsupported();
        break;
    case OptionEffect::rebuild:
        wish_ = Wish::new_environment;
        break;
    }
}

void ScriptInterpreter::set_option(std::string_view key, std::string_view value)
{
    const bool is_numeral = !value.empty() && std::all_of(value.begin(), value.end(), [](char c) {
        return c >= '0' && c <= '9';
    });
    set_option(key, is_numeral ? ValueKind::numeral : ValueKind::text, value);
}

void ScriptInterpreter::set_option(std::string_view key, int value)
{
    // true and 1 arrive as the same number; the source tells which it was.
    const std::string text = driver_->command_text();
    const bool is_flag = split_list(text).back() == (value == 1 ? "true" : "false");
    set_option(key, is_flag ? ValueKind::boolean : ValueKind::numeral,
               is_flag ? (value == 1 ? "true" : "false") : std::to_string(value));
}

void ScriptInterpreter::set_option(std::string_view key, double)
{
    set_option(key, ValueKind::decimal, "");
}

void ScriptInterpreter::get_option(std::string_view key)
{
    const std::string text = get_script_option(key, *options_, *channels_);
    respond(text.empty() ? "unsupported" : text);
}

// ---------------------------------------------------------------- information

void ScriptInterpreter::get_info(std::string_view key)
{
    if (key == ":name") {
        respond("(:name \"tarq\")");
    } else if (key == ":version") {
        respond("(:version " + quote_string(get_version_number()) + ")");
    } else if (key == ":authors") {
        respond("(:authors \"The Tarq authors\")");
    } else if (key == ":error-behavior") {
        respond("(:error-behavior continued-execution)");
    } else if (key == ":assertion-stack-levels") {
        respond("(:assertion-stack-levels " + std::to_string(levels_.size()) + ")");
    } else if (key == ":reason-unknown") {
        if (check_state_ != CheckState::unknown) {
            raise("the last check did not answer unknown");
        }
        respond("(:reason-unknown " + reason_unknown_ + ")");
    } else if (key == ":all-statistics") {
        print_statistics_info();
    } else {
        unsupported();
    }
}

void ScriptInterpreter::print_statistics_info()
{
    std::string text = "(";
    for (const auto& [name, value] : env_->get_stats()) {
        text += text.size() > 1 ? "\n " : "";
        text += name + " " + value;
    }
    text += ')';
    respond(text);
}

void ScriptInterpreter::set_info(std::string_view, std::string_view) {}

void ScriptInterpreter::echo(std::string_view text)
{
    respond(quote_string(text));
}

// ---------------------------------------------------------------- anything else

void ScriptInterpreter::generic_command(std::string_view name)
{
    if (std::find(std::begin(UNSUPPORTED), std::end(UNSUPPORTED), name) != std::end(UNSUPPORTED)) {
        unsupported();
    } else {
        raise("unknown command: " + std::string(name));
    }
}

void ScriptInterpreter::generic_command(std::string_view name, const std::vector<std::string>&)
{
    generic_command(name);
}

} // namespace tarq::tool
