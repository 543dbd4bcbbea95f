// Parses a command's arguments with CLI11.

#include "cli11.h"

#include "invocation.h"

#include "failure.h"
#include "text_input.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace {

constexpr const char *global_options = "Options of every command";

// The bare name that CLI11 knows an argument by: COUNT of "[COUNT]", --count of "--count COUNT".
std::string bare(const char *name) {
    std::string plain = name;
    std::erase_if(plain, [](char c) { return c == '[' || c == ']'; });
    return plain.substr(0, plain.find(' '));
}

// What help shows for an option's value: COUNT of "--count COUNT".
std::string value_name(const char *name) {
    const char *blank = std::strchr(name, ' ');
    return blank == nullptr ? "" : blank + 1;
}

}  // namespace

invocation::invocation(const command &row, std::vector<std::string> words) : row_(row), words_(std::move(words)) {}

invocation::~invocation() = default;

CLI::App &invocation::parser() {
    if (!parser_) {
        parser_ = std::make_unique<CLI::App>();
        parser_->set_help_flag("--help,-h", "show this help");
    }
    return *parser_;
}

CLI::Option *invocation::add_text(const char *name, std::string &value, const char *help) {
    CLI::Option *option = parser().add_option(bare(name), value, help)->type_name(value_name(name));
    if (name[0] != '-' && name[0] != '[') option->required();
    return option;
}

void invocation::number(const char *name, uint32_t &value, uint32_t lowest, uint32_t highest, const char *help) {
    const std::string plain = bare(name);
    const auto take = [plain, &value, lowest, highest](const std::string &text) {
        value = number_argument(plain.c_str(), text, lowest, highest);
    };
    CLI::Option *option = parser().add_option_function<std::string>(plain, take, help)->type_name(value_name(name));
    if (name[0] != '-' && name[0] != '[') option->required();
}

void invocation::text(const char *name, std::string &value, const char *help) {
    add_text(name, value, help);
}

void invocation::texts(const char *name, std::vector<std::string> &values, const char *help) {
    CLI::Option *option = parser().add_option(bare(name), values, help)->type_name(value_name(name));
    if (name[0] != '[') option->required();
}

void invocation::flag(const char *name, bool &value, const char *help) {
    parser().add_flag(name, value, help);
}

void invocation::notes(const char *text) {
    parser().footer(text);
}

bool invocation::given(const char *name) const {
    return parser_->count(bare(name)) > 0;
}

void invocation::parse() {
    if (words_.empty() && !parser_) return;  // nothing to parse: short commands are over before CLI11 is set up
    parser().add_flag("--json", json_, "print one JSON document on standard output, also about errors")->group(global_options);
    add_text("--directory DIR", directory_, "the card's directory of sockets, instead of RUV_DIR")->group(global_options);
    parser_->add_flag("--verbose", verbose_, "show the library's log and its messages on standard error")->group(global_options);
    parser_->get_help_ptr()->group(global_options);
    std::ranges::reverse(words_);  // as CLI11 wants them
    try {
        parser_->parse(words_);
    } catch (const CLI::CallForHelp &) {
        throw help_wanted{help_text()};
    } catch (const CLI::ParseError &error) {
        refuse_repeated_options();
        throw usage_error(error.what(), usage_of(row_));
    } catch (failure &problem) {  // of number_argument()
        problem.next = usage_of(row_);
        throw;
    }
    if (given("--directory") && directory_.empty()) throw usage_error("--directory is empty, it must be a path", usage_of(row_));
    if (!directory_.empty()) setenv("RUV_DIR", directory_.c_str(), 1);
}

void invocation::refuse_repeated_options() const {
    for (const CLI::Option *option : std::as_const(*parser_).get_options())
        if (option->nonpositional() && option->get_expected_max() == 1 && option->results().size() > 1)
            throw usage_error(option->get_name() + " is given twice", usage_of(row_));
}

std::string invocation::help_text() const {
    CLI::Formatter formatter;
    formatter.column_width(28);
    formatter.label("REQUIRED", "");
    formatter.label("Positionals", "Arguments");
    const auto options_in = [this](const std::string &group) {
        return std::as_const(*parser_).get_options(
            [&](const CLI::Option *option) { return option->nonpositional() && option->get_group() == group; });
    };
    std::string text = usage_of(row_) + "\n\n" + row_.summary + "\n" + formatter.make_positionals(parser_.get());
    for (const char *group : {"Options", global_options})
        if (const auto options = options_in(group); !options.empty()) text += formatter.make_group(group, false, options);
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
