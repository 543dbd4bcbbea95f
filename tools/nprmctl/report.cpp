// Prints facts and rows as aligned text or as JSON.

#include "report.h"

#include "text_input.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include <nlohmann/json.hpp>

namespace {

std::string rounded(const decimal_value &value) {
    char text[64];
    std::snprintf(text, sizeof text, "%.*f", value.digits, value.number);
    const bool is_zero = std::strtod(text, nullptr) == 0;
    return is_zero && text[0] == '-' ? text + 1 : text;  // no "-0.0"
}

struct as_text {
    std::string operator()(std::monostate) const { return {}; }
    std::string operator()(const std::string &text) const { return printable(text); }
    std::string operator()(uint64_t number) const { return std::to_string(number); }
    std::string operator()(bool yes) const { return yes ? "yes" : "no"; }
    std::string operator()(const decimal_value &value) const {
        if (!std::isfinite(value.number)) return "-";
        return rounded(value) + (value.unit.empty() ? "" : " " + value.unit);
    }
    std::string operator()(const number_list &list) const {
        std::string text;
        for (const uint64_t number : list.numbers)
            text += (text.empty() ? "" : " ") + std::to_string(number);
        return text + (list.has_more ? " ..." : "");
    }
};

struct as_fact : as_text {
    using as_text::operator();
    std::string operator()(std::monostate) const { return "none"; }
    std::string operator()(uint64_t number) const { return grouped(number); }
};

struct as_json {
    nlohmann::ordered_json operator()(std::monostate) const { return nullptr; }
    nlohmann::ordered_json operator()(const decimal_value &value) const {
        if (!std::isfinite(value.number)) return nullptr;
        return std::strtod(rounded(value).c_str(), nullptr);
    }
    nlohmann::ordered_json operator()(const number_list &list) const { return list.numbers; }
    template <typename value>
    nlohmann::ordered_json operator()(const value &content) const {
        return content;
    }
};

void append_row(std::string &text, const std::vector<std::string> &cells, const std::vector<size_t> &widths,
                const std::vector<bool> &to_the_right) {
    const size_t begin = text.size();
    for (size_t i = 0; i < cells.size(); ++i) {
        const std::string padding(widths[i] - cells[i].size(), ' ');
        if (i != 0) text += "  ";
        text += to_the_right[i] ? padding + cells[i] : cells[i] + padding;
    }
    while (text.size() > begin && text.back() == ' ')
        text.pop_back();
    text += '\n';
}

}  // namespace

std::string grouped(uint64_t number) {
    std::string text = std::to_string(number);
    for (size_t at = text.size(); at > 3;) {
        at -= 3;
        text.insert(at, 1, ',');
    }
    return text;
}

std::string counted(uint64_t number, const char *one, const char *many) {
    return grouped(number) + " " + (number == 1 ? one : many);
}

std::string aligned(const std::vector<std::string> &headings, const std::vector<std::vector<std::string>> &rows,
                    const std::vector<bool> &to_the_right) {
    std::vector<size_t> widths;
    widths.reserve(headings.size());
    for (const std::string &heading : headings)
        widths.push_back(heading.size());
    for (const auto &cells : rows)
        for (size_t i = 0; i < cells.size(); ++i)
            widths[i] = std::max(widths[i], cells[i].size());
    std::string text;
    append_row(text, headings, widths, to_the_right);
    for (const auto &cells : rows)
        append_row(text, cells, widths, to_the_right);
    return text;
}

void report::fact(const char *key, const char *heading, cell value) {
    facts_.emplace_back(column{key, heading}, std::move(value));
}

void report::row(std::vector<cell> cells) {
    rows_.push_back(std::move(cells));
}

void report::table(const char *key, std::vector<column> columns) {
    table_key_ = key;
    columns_ = std::move(columns);
}

void report::print(bool json, FILE *out) const {
    const std::string content = json ? this->json() : text();
    std::fwrite(content.data(), 1, content.size(), out);
}

std::string report::text() const {
    std::string text;
    if (!sentence_.empty()) text += sentence_ + "\n";
    size_t width = 0;
    for (const auto &[name, value] : facts_)
        if (name.heading != nullptr) width = std::max(width, std::char_traits<char>::length(name.heading));
    for (const auto &[name, value] : facts_)
        if (sentence_.empty() && name.heading != nullptr) {
            std::string heading = name.heading;
            heading.resize(width, ' ');
            text += heading + "  " + std::visit(as_fact{}, value) + "\n";
        }
    const bool has_headings = std::ranges::any_of(columns_, [](const column &one) { return one.heading != nullptr; });
    if (rows_.empty() || !has_headings) return text;

    std::vector<std::string> headings;
    std::vector<std::vector<std::string>> rows(rows_.size());
    std::vector<bool> to_the_right;
    for (size_t i = 0; i < columns_.size(); ++i) {
        if (columns_[i].heading == nullptr) continue;
        headings.emplace_back(columns_[i].heading);
        bool numbers = true;
        for (size_t row = 0; row < rows_.size(); ++row) {
            const cell &value = rows_[row][i];
            numbers = numbers && !std::holds_alternative<std::string>(value) && !std::holds_alternative<bool>(value) &&
                      !std::holds_alternative<number_list>(value);
            rows[row].push_back(std::visit(as_text{}, value));
        }
        to_the_right.push_back(numbers);
    }
    if (!text.empty()) text += "\n";
    return text + aligned(headings, rows, to_the_right);
}

std::string report::json() const {
    nlohmann::ordered_json document = nlohmann::ordered_json::object();
    for (const auto &[name, value] : facts_)
        document[name.key] = std::visit(as_json{}, value);
    if (table_key_ != nullptr) {
        nlohmann::ordered_json &array = document[table_key_] = nlohmann::ordered_json::array();
        for (const auto &cells : rows_) {
            nlohmann::ordered_json object;
            for (size_t i = 0; i < columns_.size(); ++i)
                object[columns_[i].key] = std::visit(as_json{}, cells[i]);
            array.push_back(std::move(object));
        }
    }
    return document.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
}
