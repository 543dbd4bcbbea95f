// Parses a command's arguments with CLI11.

#include "invocation.h"

#include "failure.h"
#include "text_input.h"

#include <algorithm>
#include <cstdlib>

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>

namespace {

// The bare name that CLI11 knows an argument by: "[COUNT]" is COUNT.
std::string bare(std::string name) {
    std::erase_if(name, [](char c) { return c == '[' || c == ']'; });
    return name;
}

}  // namespace

invocation::invocation(const command &row, std::vector<std::string> words)
    : row_(row), words_(std::move(words)), parser_(std::make_unique<CLI::App>()) {
    parser_->set_help_flag("--help,-h", "show this help");
}

invocation::~invocation() = default;

CLI::Option *invocation::add_text(const char *name, std::string &value, const char *help) {
    CLI::Option *option = parser_->add_option(bare(name), value, help)->type_name("");
    if (name[0] != '-' && name[0] != '[') option->required();
    return option;
}

void invocation::number(const char *name, uint32_t &value, uint32_t lowest, uint32_t highest, const char *help) {
    const std::string plain = bare(name);
    const auto take = [plain, &value, lowest, highest](const std::string &text) {
        value = number_argument(plain.c_str(), text, lowest, highest);
    };
    CLI::Option *option = parser_->add_option_function<std::string>(plain, take, help)->type_name("");
    if (name[0] != '-' && name[0] != '[') option->required();
}

void invocation::text(const char *name, std::string &value, const char *help) {
    add_text(name, value, help);
}

void invocation::texts(const char *name, std::vector<std::string> &values, const char *help) {
    CLI::Option *option = parser_->add_option(bare(name), values, help)->type_name("");
    if (name[0] != '[') option->required();
}

void invocation::flag(const char *name, bool &value, const char *help) {
    parser_->add_flag(name, value, help);
}

void invocation::notes(const char *text) {
    parser_->footer(text);
}

bool invocation::given(const char *name) const {
    return parser_->count(bare(name)) > 0;
}

void invocation::parse() {
    constexpr const char *globals = "Options of every command";
    parser_->add_flag("--json", json_, "print one JSON document on standard output, also about errors")->group(globals);
    add_text("--directory", directory_, "the card's directory of sockets, instead of RUV_DIR")->group(globals);
    parser_->add_flag("--verbose", verbose_, "show the library's log and its messages on standard error")->group(globals);
    parser_->get_help_ptr()->group(globals);
    std::ranges::reverse(words_);  // as CLI11 wants them
    try {
        parser_->parse(words_);
    } catch (const CLI::CallForHelp &) {
        throw help_wanted{help_text()};
    } catch (const CLI::ParseError &error) {
        throw usage_error(error.what(), usage_of(row_));
    } catch (failure &problem) {  // of number_argument()
        problem.next = usage_of(row_);
        throw;
    }
    if (!directory_.empty()) setenv("RUV_DIR", directory_.c_str(), 1);
}

std::string invocation::help_text() const {
    CLI::Formatter formatter;
    formatter.column_width(28);
    formatter.label("REQUIRED", "");
    formatter.label("Positionals", "Arguments");
    std::string text = usage_of(row_) + "\n\n" + row_.summary + "\n" + formatter.make_positionals(parser_.get()) +
                       formatter.make_groups(parser_.get(), CLI::AppFormatMode::Normal);
    if (!parser_->get_footer().empty()) text += "\n" + parser_->get_footer();
    return text;
}

std::string usage_of(const command &row) {
    return std::string("usage: nprmctl ") + row.name + (row.arguments[0] == '\0' ? "" : " ") + row.arguments;
}

uint32_t number_argument(const char *name, const std::string &text, uint32_t lowest, uint32_t highest) {
    const auto number = decimal<uint32_t>(text);
    if (!number || *number < lowest || *number > highest)
        throw usage_error(std::string(name) + " is " + in_quotes(text) + ", it must be a number from " + std::to_string(lowest) +
                              " to " + std::to_string(highest),
                          {});
    return *number;
}
