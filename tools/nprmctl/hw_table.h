// A hardware table as commands see it: described by the server, its entries as they came.
#ifndef NPRMCTL_HW_TABLE_H
#define NPRMCTL_HW_TABLE_H

#include "blob_content.h"
#include "nprm.h"

#include <string>
#include <vector>

class invocation;

struct table_description {
    uint32_t id, layout;  // layout 0: its entries have none that is known
    std::string name;
    uint32_t addresses, end, used, entry_bytes;
    std::string keys;  // what look-ups take
};

// All tables that the server has.
std::vector<table_description> all_tables();
// The table of this number or name, in capitals or not; throws a failure.
table_description table_of(const std::string &text);

using table_operation = uint32_t (*)(hw_table_info *, uint8_t **);
// One exchange.  Entries get the address `first` and those behind it; throws a failure that begins with `what`.
std::vector<blob_entry> fetch(const table_description &table, table_operation operation, hw_table_info &info, uint32_t first,
                              const std::string &what);

// What the numbers of printed entries are.
enum class entry_numbers : uint8_t { addresses, of_the_answer };

// Entries on standard output: by the printer of their layout, or as words; one JSON document of all.
class entry_output {
  public:
    entry_output(const invocation &call, const table_description &table, bool raw, entry_numbers numbers = entry_numbers::addresses)
        : call_(call), table_(table), raw_(raw), numbers_(numbers) {}

    void add(std::vector<blob_entry> entries);
    // Ends the output.  `none` is said in text when there was no entry.
    void finish(const std::string &none);

  private:
    const invocation &call_;
    const table_description &table_;
    bool raw_;
    entry_numbers numbers_;
    size_t count_ = 0;
    std::vector<blob_entry> kept_;  // for JSON
};

#endif
