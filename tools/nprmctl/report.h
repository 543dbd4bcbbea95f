// What a command says: facts and rows, once, printed as text for people or as one JSON object for programs.
#ifndef NPRMCTL_REPORT_H
#define NPRMCTL_REPORT_H

#include <cstdint>
#include <cstdio>
#include <string>
#include <utility>
#include <variant>
#include <vector>

// A measured value: text rounds it and adds the unit, JSON is the rounded number alone.
struct decimal_value {
    double number;
    uint8_t digits;  // behind the point
    std::string unit;

    bool operator==(const decimal_value &) const = default;
};

// "3 1 2", with "..." when there are more; in JSON an array.
struct number_list {
    std::vector<uint64_t> numbers;
    bool has_more;

    bool operator==(const number_list &) const = default;
};

// monostate: empty text, JSON null
using cell = std::variant<std::monostate, std::string, uint64_t, bool, decimal_value, number_list>;

struct column {
    const char *key;      // in JSON
    const char *heading;  // in text; null: for programs only
};

class report {
  public:
    // Text prints the sentence in place of the facts.
    void sentence(std::string text) { sentence_ = std::move(text); }
    // heading: null for programs only
    void fact(const char *key, const char *heading, cell value);
    // The one table, an array under `key` in JSON.
    void table(const char *key, std::vector<column> columns);
    void row(std::vector<cell> cells);

    void print(bool json, FILE *out) const;
    std::string text() const;
    std::string json() const;

  private:
    std::string sentence_;
    std::vector<std::pair<column, cell>> facts_;
    const char *table_key_ = nullptr;
    std::vector<column> columns_;
    std::vector<std::vector<cell>> rows_;
};

// "65,536"
std::string grouped(uint64_t number);
// "1 entry", "2,000 entries"
std::string counted(uint64_t number, const char *one, const char *many);

// Rows of equal length under their headings, as text: columns of numbers to the right, blanks at line ends dropped.
std::string aligned(const std::vector<std::string> &headings, const std::vector<std::vector<std::string>> &rows,
                    const std::vector<bool> &to_the_right);

#endif
