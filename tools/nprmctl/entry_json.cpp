// Turns hardware-table entries into JSON objects, and such objects into entries.

#include "entry_json.h"

#include "input_file.h"
#include "nprm.h"

#include <algorithm>
#include <cstring>

#include <nlohmann/json.hpp>

using nlohmann::ordered_json;

namespace {

constexpr uint32_t word_bytes = 4;
constexpr uint32_t entry_bytes_min = 512;  // more than the longest list needs

std::string quoted_value(const ordered_json &value) {
    return in_quotes(value.dump(-1, ' ', true, ordered_json::error_handler_t::replace));
}

failure wrong_number(const std::string &what, const ordered_json &value, uint64_t highest) {
    return unusable(what + " is " + (value.is_string() ? quoted_value(value) : value.dump()) + ", it must be a number from 0 to " +
                    std::to_string(highest));
}

uint64_t number_of(const ordered_json &value, const std::string &what, uint64_t highest) {
    if (!value.is_number_unsigned() || value.get<uint64_t>() > highest) throw wrong_number(what, value, highest);
    return value.get<uint64_t>();
}

uint32_t word_member(const ordered_json &object, const char *name, const std::string &where) {
    if (!object.contains(name)) throw unusable(where + " has no member \"" + name + "\"");
    return static_cast<uint32_t>(number_of(object.at(name), where + ": \"" + name + "\"", UINT32_MAX));
}

std::string text_of(const ordered_json &value, const std::string &what) {
    if (!value.is_string()) throw unusable(what + " is " + value.dump() + ", it must be text of hexadecimal digits");
    return value.get<std::string>();
}

std::string part_of(const std::string &data, uint32_t from, uint32_t bytes) {
    std::string part = data.substr(std::min<size_t>(from, data.size()), bytes);
    part.resize(bytes);
    return part;
}

// An entry that fields are written into.  Fields may share bits: of two that say something new, both must say the same.
class entry_writer {
  public:
    entry_writer(uint32_t type, const std::string &data, const std::string &where)
        : type_(type), where_(where), before_(data), after_(data), written_(std::max<size_t>(data.size(), entry_bytes_min)) {
        before_.resize(written_.size());
        after_.resize(written_.size());
    }

    bool field_at(uint32_t index, nprm_entry_field &field) const {
        return nprm_layout_field(type_, index, after_.data(), static_cast<uint32_t>(after_.size()), &field) == NPRM_OK;
    }

    void write(const nprm_entry_field &field, const ordered_json &value) {
        const std::string what = where_ + ": \"" + field.name + "\"";
        std::string wanted = before_;
        if (field.width > 64)
            write_bytes(field, value, what, wanted);
        else {
            const uint64_t highest = field.width < 64 ? (uint64_t{1} << field.width) - 1 : UINT64_MAX;
            nprm_layout_set_value(&field, number_of(value, what, highest), wanted.data(), static_cast<uint32_t>(wanted.size()));
        }
        if (wanted != before_) take_over(field, wanted, what);
    }

    std::string data(size_t bytes) const { return after_.substr(0, (std::max<size_t>(bytes, end_) + 3) / word_bytes * word_bytes); }

  private:
    static void write_bytes(const nprm_entry_field &field, const ordered_json &value, const std::string &what,
                            std::string &wanted) {
        const std::string bytes = bytes_of_hex(text_of(value, what), what);
        if (bytes.size() != field.width / 8)
            throw unusable(what + " has " + std::to_string(bytes.size()) + " bytes, it must have " +
                           std::to_string(field.width / 8));
        wanted.replace(field.byte, bytes.size(), bytes);
    }

    void take_over(const nprm_entry_field &field, const std::string &wanted, const std::string &what) {
        const uint32_t end = field.byte + (field.lowest_bit + field.width + 7) / 8;
        for (uint32_t byte = field.byte; byte < end; ++byte) {
            const uint32_t first_bit = byte == field.byte ? field.lowest_bit : 0;
            const uint32_t bits = std::min(8 - first_bit, field.width);
            const auto mask = static_cast<uint8_t>(((1U << bits) - 1) << first_bit);
            if (((after_[byte] ^ wanted[byte]) & written_[byte] & mask) != 0)
                throw unusable(what + " shares bits with a field before it, which says something else: change one of the two");
            after_[byte] = static_cast<char>((after_[byte] & ~mask) | (wanted[byte] & mask));
            written_[byte] = static_cast<uint8_t>(written_[byte] | mask);
        }
        end_ = std::max(end_, end);
    }

    uint32_t type_;
    std::string where_, before_, after_;
    std::vector<uint8_t> written_;  // the bits that fields have written
    uint32_t end_ = 0;              // of what they have written
};

void refuse_unknown(const ordered_json &object, std::initializer_list<const char *> known, const std::string &where) {
    for (const auto &[name, value] : object.items())
        if (std::ranges::none_of(known, [&name = name](const char *one) { return name == one; }))
            throw unusable(where + " has the unknown member " + in_quotes(name));
}

// Returns the bytes of the whole layout, with as many list elements as there are.
uint32_t write_fields(entry_writer &writer, const ordered_json &fields, uint32_t type, const std::string &where) {
    size_t used = 0;
    uint32_t end = 0;
    nprm_entry_field field;
    for (uint32_t i = 0; writer.field_at(i, field); ++i) {
        end = std::max(end, field.byte + (field.lowest_bit + field.width + 7) / 8);
        if (const auto value = fields.find(field.name); value != fields.end()) {
            writer.write(field, *value);
            ++used;
        }
    }
    if (used == fields.size()) return end;
    for (const auto &[name, value] : fields.items()) {
        bool is_known = false;
        for (uint32_t i = 0; !is_known && writer.field_at(i, field); ++i)
            is_known = name == field.name;
        if (!is_known) throw unusable(where + ": type " + std::to_string(type) + " has no field " + in_quotes(name));
    }
    return end;
}

}  // namespace

ordered_json json_of_fields(uint32_t type, const std::string &data) {
    ordered_json fields = ordered_json::object();
    const auto bytes = static_cast<uint32_t>(data.size());
    nprm_entry_field field;
    for (uint32_t i = 0; nprm_layout_field(type, i, data.data(), bytes, &field) == NPRM_OK; ++i) {
        if (field.width > 64)
            fields[field.name] = hex_of_bytes(part_of(data, field.byte, field.width / 8));
        else
            fields[field.name] = nprm_layout_value(&field, data.data(), bytes);
    }
    return fields;
}

ordered_json json_of_entry(const blob_entry &entry) {
    const char *title = nprm_layout_title(entry.type);
    ordered_json object = {{"type", entry.type}, {"addr", entry.addr}};
    object["title"] = title != nullptr ? ordered_json(title) : ordered_json(nullptr);
    object["fields"] = json_of_fields(entry.type, entry.data);
    object["data"] = hex_of_bytes(entry.data);
    return object;
}

std::string json_text_of_entry(const blob_entry &entry) {
    return json_of_entry(entry).dump(2) + "\n";
}

blob_entry entry_of_json(const ordered_json &object, const std::string &where) {
    if (!object.is_object()) throw unusable(where + " is no object");
    refuse_unknown(object, {"type", "addr", "title", "fields", "data"}, where);
    blob_entry entry = {word_member(object, "type", where), word_member(object, "addr", where), 0, {}};
    if (entry.type == NPRM_ENTRY_END) throw unusable(where + ": \"type\" is 0, which ends a blob");
    const char *title = nprm_layout_title(entry.type);
    if (object.contains("title") && object["title"] != (title != nullptr ? ordered_json(title) : ordered_json(nullptr)))
        throw unusable(where + ": \"title\" is " + quoted_value(object["title"]) + ", but type " + std::to_string(entry.type) +
                       (title != nullptr ? " is " + in_quotes(title) : " has none"));

    const bool has_data = object.contains("data");
    if (has_data) entry.data = bytes_of_hex(text_of(object["data"], where + ": \"data\""), where + ": \"data\"");
    if (entry.data.size() % word_bytes != 0)
        throw unusable(where + ": \"data\" has " + std::to_string(entry.data.size()) + " bytes, entries are made of words of 4");
    const ordered_json fields = object.value("fields", ordered_json::object());
    if (!fields.is_object()) throw unusable(where + ": \"fields\" is no object");
    entry_writer writer(entry.type, entry.data, where);
    const uint32_t layout_end = write_fields(writer, fields, entry.type, where);
    entry.data = writer.data(has_data ? entry.data.size() : layout_end);
    return entry;
}
