// nprmctl without a card: configuration blobs, entries and flow-debug records in files.

#include "run_nprmctl.h"

#include <cstdint>
#include <cstdlib>
#include <fstream>

#include <gmock/gmock.h>

#include "tests/support/scratch.h"

namespace {

using strings_of = std::vector<std::string>;
using nlohmann::json;
using nlohmann::ordered_json;
using testing::HasSubstr;
using testing::StartsWith;

std::string words(const std::vector<uint32_t> &values) {
    std::string bytes;
    for (const uint32_t value : values)
        for (int shift = 0; shift < 32; shift += 8)
            bytes += static_cast<char>(value >> shift);
    return bytes;
}

std::string golden(int type, const char *ending) {
    char name[32];
    std::snprintf(name, sizeof name, "/type_%02d.%s", type, ending);
    return content_of(NPRM_SOURCE_DIR "/tests/golden/entries" + std::string(name));
}

// A port-table entry, a LAG group of two, a distribution list, each whole.
const std::string port_table = words({5, 0x2A, 4, 0x0000A305, 0x12345678, 0, 0x00648100});
const std::string lag_group = words({10, 1, 3, 1, 0x02000000, 0x00000A09});
const std::string dist_list = words({16, 2, 1, 0x07050003});
const std::string end = words({0});

nprmctl_run encode(const json &document) {
    return run_nprmctl({"blob", "encode", "-"}, document.dump());
}

// ---- decode

TEST(NprmctlBlobDecode, PrintsWhatTheLibraryPrints) {
    std::string blob, expected;
    for (int type = 1; type <= 24; ++type) {
        if (type == 2) continue;
        const std::string text = golden(type, "txt");
        constexpr uint8_t of_even[] = {0, 0xAA, 0xCC, 0xF0};
        for (uint32_t which = 0; which < 4; ++which) {
            blob += words({static_cast<uint32_t>(type), static_cast<uint32_t>(type) * 16 + which, 51});
            for (uint32_t i = 0; i < 204; ++i)
                blob += static_cast<char>(which == 0 ? i * 37 + 11 : i % 2 == 0 ? of_even[which] : ~of_even[which]);
        }
        // The statuses of seven more ports stand at the end of type 24's text.
        expected +=
            type == 24 ? text.substr(0, text.find("\n\nPort    Link     Speed       Rx pkts (err)       Tx pkts (err)\n0 ")) : text;
    }
    const nprmctl_run run = run_nprmctl({"blob", "decode", "-"}, blob + end);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.errors, "");
    EXPECT_EQ(run.output, expected + "\n");
}

TEST(NprmctlBlobDecode, TellsEveryTypeAsJsonAndEncodesItBackByteByByte) {
    ordered_json expected = {{"entries", ordered_json::array()}};
    std::string blob;
    for (int type = 1; type <= 24; ++type) {
        if (type == 2) continue;
        const ordered_json document = ordered_json::parse(golden(type, "json"));
        for (const auto &entry : document.at("entries")) {
            const std::string hex = entry["data"];
            blob += words({entry["type"], entry["addr"], static_cast<uint32_t>(hex.size() / 8)});
            for (size_t at = 0; at < hex.size(); at += 2)
                blob += static_cast<char>(std::strtoul(hex.substr(at, 2).c_str(), nullptr, 16));
            expected["entries"].push_back(entry);
        }
    }
    const nprmctl_run run = run_nprmctl({"blob", "decode", "-", "--json"}, blob + end);
    EXPECT_EQ(run.status, 0);
    const ordered_json decoded = ordered_json::parse(run.output);
    ASSERT_EQ(decoded.at("entries").size(), size_t{23 * 4});
    for (size_t i = 0; i < decoded["entries"].size(); ++i)
        EXPECT_EQ(decoded["entries"][i].dump(2), expected["entries"][i].dump(2));
    EXPECT_TRUE(run_nprmctl({"blob", "encode", "-"}, run.output).output == blob + end);
    EXPECT_TRUE(run_nprmctl({"blob", "encode", "-"}, expected.dump()).output == blob + end);
}

TEST(NprmctlBlobDecode, KeepsEveryByteOfAnyFileInItsJson) {
    const std::string blobs[] = {
        "",
        end,
        end + "behind" + std::string(5, '\0') + "it" + std::string(100, '\0'),
        port_table + lag_group + dist_list + end,
        port_table + lag_group,                                         // without an end
        words({99, 7, 2, 1, 2}) + port_table + words({2, 0, 0}) + end,  // no type, and the silent one
        port_table + words({5, 1, 4, 1}) + "rest",                      // cut in its data
        port_table + words({5, 1}) + "abc",                             // cut in its header
        std::string("\5\0\0", 3),
        words({21, 1, 16381}) + std::string(65524, '\x5A'),  // exactly full
        words({21, 1, 16382}) + std::string(65524, '\0'),    // one word more than there is room for
    };
    for (const std::string &blob : blobs) {
        const nprmctl_run decoded = run_nprmctl({"blob", "decode", "-", "--json"}, blob);
        ASSERT_TRUE(decoded.json().is_object()) << blob.size();
        EXPECT_EQ(decoded.errors, "");
        const nprmctl_run encoded = run_nprmctl({"blob", "encode", "-"}, decoded.output);
        EXPECT_EQ(encoded.errors, "");
        EXPECT_TRUE(encoded.output == blob) << blob.size() << " bytes became " << encoded.output.size();
    }
}

TEST(NprmctlBlobDecode, PrintsWhatStandsBeforeADefectAndTellsIt) {
    const nprmctl_run whole = run_nprmctl({"blob", "decode", "-"}, port_table + end);
    EXPECT_THAT(whole.output, StartsWith("\n\nPort Table [0x2a]\n-----"));
    EXPECT_THAT(whole.output, HasSubstr("\n  cb1.port_id                     7    0x23 (35)\n"));
    const nprmctl_run cut = run_nprmctl({"blob", "decode", "-"}, port_table + lag_group.substr(0, 17));
    EXPECT_EQ(cut.status, 2);
    EXPECT_EQ(cut.output, whole.output);
    EXPECT_EQ(cut.errors,
              "nprmctl: standard input: the entry at byte 28, type 10, claims 3 words of data, the blob has 5 bytes more\n");
    const nprmctl_run unknown = run_nprmctl({"blob", "decode", "-"}, words({25, 1, 1, 7}) + port_table + end);
    EXPECT_EQ(unknown.status, 0);
    EXPECT_EQ(unknown.output, whole.output);
    EXPECT_EQ(unknown.errors,
              "nprmctl: standard input: the entry at byte 0 has the type 25, there are 1 to 24: nothing prints for it\n");
}

TEST(NprmctlBlobDecode, SaysThatABlobHoldsNothing) {
    const nprmctl_run run = run_nprmctl({"blob", "decode", "-"}, end);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.output, "\n") << "as the library prints it";
    EXPECT_EQ(run.errors, "nprmctl: standard input holds no entries\n");
}

// ---- check

TEST(NprmctlBlobCheck, TellsTheFirstDefectWithItsOffsetAndNumbers) {
    const struct {
        std::string blob;
        const char *says;
    } rows[] = {
        {port_table + words({5, 6, 16377}), "the entry at byte 28, type 5, claims 16,377 words of data, the blob has 0 bytes more"},
        {port_table + words({5, 6, 0xFFFFFFFF}) + "abcd",
         "the entry at byte 28, type 5, claims 4,294,967,295 words of data, the blob has 4 bytes more"},
        {port_table + words({5, 6}), "at byte 28 an entry begins, whose three words do not end within the blob's 36 bytes"},
        {port_table + "\1\2", "at byte 28 an entry begins, whose three words do not end within the blob's 30 bytes"},
        {port_table, "the blob ends at byte 28 without the type word of 0 that ends a blob"},
        {"", "the blob ends at byte 0 without the type word of 0 that ends a blob"},
        {words({25, 1, 0}) + end, "the entry at byte 0 has the type 25, there are 1 to 24: nothing prints for it"},
        {dist_list + words({5, 1, 1, 7}) + end, "the entry at byte 16, type 5, has 4 bytes, its layout 16: the others print as 0"},
        {words({10, 1, 3, 1, 0x05000000, 0}) + end,
         "the entry at byte 0, type 10, says that it has 1 list element more than its 12 bytes hold"},
        {words({5, 1, 1, 7, 25, 1, 0}) + end,
         "the entry at byte 0, type 5, has 4 bytes, its layout 16: the others print as 0; and 1 more"},
    };
    for (const auto &row : rows) {
        const nprmctl_run run = run_nprmctl({"blob", "check", "-"}, row.blob);
        EXPECT_EQ(run.status, 1) << row.says;
        EXPECT_EQ(run.output, std::string("standard input: ") + row.says + "\n");
    }
}

TEST(NprmctlBlobCheck, TellsThatABlobIsInOrder) {
    const nprmctl_run run = run_nprmctl({"blob", "check", "-"}, port_table + words({2, 0, 0}) + end + "behind");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.output, "standard input is in order: 2 entries in 44 bytes\n");
    EXPECT_EQ(run_nprmctl({"blob", "check", "-"}, words({21, 1, 16381}) + std::string(65524, 'x')).status, 0);
    EXPECT_EQ(run_nprmctl({"blob", "check", "-", "--json"}, lag_group + end).json(),
              json({{"in_order", true}, {"entries", 1}, {"bytes", 28}, {"size", 28}, {"defects", json::array()}}));
}

// ---- diff

TEST(NprmctlBlobDiff, ComparesFieldByFieldAndWhatNoFieldHas) {
    const scratch_directory files;
    const std::string a = files / "a", b = files / "b";
    std::ofstream(a) << port_table << lag_group << dist_list << words({99, 0, 1, 7}) << end;
    std::ofstream(b) << words({99, 0, 1, 8}) << words({5, 0x2A, 4, 0x0100A205, 0x12345678, 0, 0x00648100})
                     << words({10, 1, 3, 1, 0x03000000, 0x000B0A09}) << words({21, 3, 2, 0, 0}) << end;
    const nprmctl_run run = run_nprmctl({"blob", "diff", a, b});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.output,
              "7 differences in 5 entries\n"
              "\n"
              "entry                                 field           A           B\n"
              "Port Table [0x2a]                     cb1.port_id     0x23 (35)   0x22 (34)\n"
              "Port Table [0x2a]                     byte 3          00          01\n"
              "Lag Group [0x1]                       number_members  0x2 (2)     0x3 (3)\n"
              "Lag Group [0x1]                       member_port[2]              0xb (11)\n"
              "PARSE Distribution List Config [0x2]  (the entry)     is there    is missing\n"
              "type 99 [0]                           byte 0          07          08\n"
              "FIB Table(key) Index [0x3]            (the entry)     is missing  is there\n");
    const json document = run_nprmctl({"blob", "diff", a, b, "--json"}).json();
    EXPECT_EQ(document.at("differences").at(0),
              json({{"entry", "Port Table [0x2a]"}, {"field", "cb1.port_id"}, {"a", "0x23 (35)"}, {"b", "0x22 (34)"}}));
    const nprmctl_run equal = run_nprmctl({"blob", "diff", a, a});
    EXPECT_EQ(equal.status, 0);
    EXPECT_EQ(equal.output, "the blobs are equal: 4 entries\n");
    std::ofstream(b, std::ios::trunc) << port_table << "cut";
    EXPECT_EQ(run_nprmctl({"blob", "diff", a, b}).status, 2);
}

// ---- encode

TEST(NprmctlBlobEncode, MakesAnEntryOfItsFieldsAlone) {
    const nprmctl_run run =
        encode({{"entries",
                 {{{"type", 5},
                   {"addr", 42},
                   {"fields",
                    {{"cb0.valid", 1},
                     {"cb0.default_qid_v", 1},
                     {"cb1.port_id", 35},
                     {"cb1.rx_tx", 1},
                     {"default_qid", 0x12345678},
                     {"tpid", 0x8100},
                     {"vif_tag", 100}}}},
                  {{"type", 10},
                   {"addr", 1},
                   {"fields", {{"cb0.valid", 1}, {"member_port[1]", 10}, {"member_port[0]", 9}, {"number_members", 2}}}},
                  {{"type", 7}, {"addr", 0}, {"fields", {{"mask", "ffffff000102030405060708090a0b0c0d0e"}}}},
                  {{"type", 4294967295}, {"addr", 4294967295}}}}});
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_EQ(run.output, port_table + lag_group + words({7, 0, 5, 0x00FFFFFF, 0x04030201, 0x08070605, 0x0C0B0A09, 0x00000E0D}) +
                              words({0xFFFFFFFF, 0xFFFFFFFF, 0}) + end);
}

TEST(NprmctlBlobEncode, WritesWhatAFieldSaysOverTheData) {
    ordered_json document = ordered_json::parse(golden(6, "json"));
    ordered_json &entry = document["entries"][0];
    std::string data = entry["data"];
    document["entries"] = {entry};
    // Two names for byte 3: the one that is changed counts.
    document["entries"][0]["fields"]["addr.mac[1]"] = 0xEE;
    const nprmctl_run run = encode(document);
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_EQ(run.output.substr(15, 1), "\xEE");
    EXPECT_EQ(run.output.size(), 12 + data.size() / 2 + 4);
    document["entries"][0]["fields"]["addr.ipv4[1]"] = 0xED;
    EXPECT_THAT(encode(document).errors, HasSubstr("entries[0]: \"addr.mac[1]\" shares bits with a field before it"));
    document["entries"][0]["fields"]["addr.ipv4[1]"] = 0xEE;
    EXPECT_EQ(encode(document).output, run.output);
}

TEST(NprmctlBlobEncode, WritesItsFileAndTellsSo) {
    const scratch_directory files;
    const std::string blob = files / "blob";
    const nprmctl_run run = run_nprmctl({"blob", "encode", "-", "--output", blob, "--json"}, R"({"entries": [], "size": 20})");
    EXPECT_EQ(run.json(), json({{"file", blob}, {"entries", 0}, {"bytes", 20}}));
    EXPECT_EQ(content_of(blob), std::string(20, '\0'));
    const nprmctl_run nowhere = run_nprmctl({"blob", "encode", "-", "--output", "/nonexistent/blob"}, R"({"entries": []})");
    EXPECT_EQ(nowhere.status, 1);
    EXPECT_EQ(nowhere.errors, "nprmctl: /nonexistent/blob cannot be written: No such file or directory\n");
}

TEST(NprmctlBlobEncode, NamesTheFieldThatIsWrongAndItsRange) {
    const struct {
        const char *entry, *says;
    } rows[] = {
        {R"({"type": 5, "addr": 1, "fields": {"cb0.valid": 2}})", "\"cb0.valid\" is 2, it must be a number from 0 to 1"},
        {R"({"type": 5, "addr": 1, "fields": {"cb1.port_id": 128}})", "\"cb1.port_id\" is 128, it must be a number from 0 to 127"},
        {R"({"type": 5, "addr": 1, "fields": {"vif_qid": 4294967296}})",
         "\"vif_qid\" is 4294967296, it must be a number from 0 to 4294967295"},
        {R"({"type": 5, "addr": 1, "fields": {"tpid": -1}})", "\"tpid\" is -1, it must be a number from 0 to 65535"},
        {R"({"type": 5, "addr": 1, "fields": {"tpid": 1.5}})", "\"tpid\" is 1.5, it must be a number from 0 to 65535"},
        {R"({"type": 5, "addr": 1, "fields": {"tpid": "1"}})", "it must be a number from 0 to 65535"},
        {R"({"type": 5, "addr": 1, "fields": {"tpid": null}})", "\"tpid\" is null, it must be a number from 0 to 65535"},
        {R"({"type": 24, "addr": 1, "fields": {"rx_packets": 18446744073709551616}})",
         "it must be a number from 0 to 18446744073709551615"},
        {R"({"type": 5, "addr": 1, "fields": {"cb0.vali": 1}})", "type 5 has no field \"cb0.vali\""},
        {R"({"type": 10, "addr": 1, "fields": {"number_members": 1, "member_port[1]": 1}})",
         "type 10 has no field \"member_port[1]\""},
        {R"({"type": 99, "addr": 1, "fields": {"a": 1}})", "type 99 has no field \"a\""},
        {R"({"type": 7, "addr": 1, "fields": {"mask": "ff"}})", "\"mask\" has 1 bytes, it must have 18"},
        {R"({"type": 7, "addr": 1, "fields": {"mask": 5}})", "\"mask\" is 5, it must be text of hexadecimal digits"},
        {R"({"type": 0, "addr": 1})", "\"type\" is 0, which ends a blob"},
        {R"({"type": 4294967296, "addr": 1})", "\"type\" is 4294967296, it must be a number from 0 to 4294967295"},
        {R"({"type": 5})", "entries[0] has no member \"addr\""},
        {R"({"type": 5, "addr": 1, "feilds": {}})", "entries[0] has the unknown member \"feilds\""},
        {R"({"type": 5, "addr": 1, "fields": []})", "\"fields\" is no object"},
        {R"({"type": 5, "addr": 1, "data": "0102030"})", "\"data\" ends in half a byte"},
        {R"({"type": 5, "addr": 1, "data": "010203"})", "\"data\" has 3 bytes, entries are made of words of 4"},
        {R"({"type": 5, "addr": 1, "data": "0102030g"})", "\"data\" has \"g\" where a hexadecimal digit must stand"},
        {R"({"type": 5, "addr": 1, "title": "Port Config RAM"})", "but type 5 is \"Port Table\""},
        {"[]", "entries[0] is no object"},
    };
    for (const auto &row : rows) {
        const nprmctl_run run = run_nprmctl({"blob", "encode", "-"}, std::string("{\"entries\": [") + row.entry + "]}");
        EXPECT_EQ(run.status, 2) << row.entry;
        EXPECT_EQ(run.output, "") << row.entry;
        EXPECT_THAT(run.errors, StartsWith("nprmctl: standard input: entries[0]")) << row.entry;
        EXPECT_THAT(run.errors, HasSubstr(row.says));
    }
}

TEST(NprmctlBlobEncode, RefusesADocumentThatIsNone) {
    const struct {
        std::string text;
        const char *says;
    } rows[] = {
        {"", "standard input is empty, it must be a JSON document"},
        {"{\"entries\": [\n{\"type\": 5,}]}", "standard input:2:12: here it cannot go on"},
        {"[]", "is no object with an array \"entries\""},
        {R"({"entries": {}})", "is no object with an array \"entries\""},
        {R"({"entries": [], "more": 1})", "has the unknown member \"more\""},
        {R"({"entries": [], "terminated": 1})", "\"terminated\" must be true or false"},
        {R"({"entries": [], "size": 65537})", "\"size\" is 65537, it must be a number from 0 to 65536"},
        {R"({"entries": [], "behind": 5})", "\"behind\" must be text of hexadecimal digits"},
        {R"({"entries": [{"type": 2, "addr": 0, "data": ")" + std::string(131048, '0') + R"("}]})",
         "with the word that ends it the blob has 65,540 bytes, at most are 65,536"},
        {R"({"entries": [{"type": 2, "addr": 0}, {"type": 2, "addr": 0, "data": ")" + std::string(131048, '0') + R"("}]})",
         "entries[1] does not fit: from byte 12 on it takes 65,536, a blob has 65,536"},
        {std::string(100000, '['), "standard input is no JSON document"},
    };
    for (const auto &row : rows) {
        const nprmctl_run run = run_nprmctl({"blob", "encode", "-"}, row.text);
        EXPECT_EQ(run.status, 2) << row.says;
        EXPECT_EQ(run.output, "") << row.says;
        EXPECT_THAT(run.errors, HasSubstr(row.says));
    }
}

TEST(NprmctlBlob, RefusesFilesThatAreNoBlob) {
    for (const char *command : {"decode", "check"}) {
        EXPECT_EQ(run_nprmctl({"blob", command, "/dev/zero"}).errors,
                  "nprmctl: /dev/zero is larger than 65,536 bytes, the most that a blob has\n");
        EXPECT_EQ(run_nprmctl({"blob", command, "/dev/zero"}).status, 2);
        EXPECT_EQ(run_nprmctl({"blob", command, "/nonexistent"}).errors,
                  "nprmctl: /nonexistent cannot be read: No such file or directory\n");
        EXPECT_EQ(run_nprmctl({"blob", command, "/"}).errors, "nprmctl: / cannot be read: Is a directory\n");
    }
    EXPECT_EQ(run_nprmctl({"blob", "diff", "-", "-"}).status, 2);
    EXPECT_EQ(run_nprmctl({"blob", "encode", "-", "--json"}, R"({"entries": []})").status, 2);
}

// ---- one entry

TEST(NprmctlHwDecode, PrintsAnEntryByNumberOrTitleFromBytesOrWords) {
    const std::string expected = run_nprmctl({"blob", "decode", "-"}, port_table + end).output;
    const std::string bytes = port_table.substr(12);
    EXPECT_EQ(run_nprmctl({"hw", "decode", "5", "-", "--addr", "42"}, bytes).output, expected);
    EXPECT_EQ(run_nprmctl({"hw", "decode", "port table", "-", "--addr", "42"}, bytes).output, expected);
    EXPECT_EQ(
        run_nprmctl({"hw", "decode", "5", "-", "--hex", "--addr", "42"}, "05 a3 00 00\n0x12345678 0x0 00816400 00 00\n").errors,
        "");
    EXPECT_EQ(run_nprmctl({"hw", "decode", "5", "-", "--hex", "--addr", "42"}, "05A3 0000\n0x12345678 0x0 0x648100").output,
              expected);
    EXPECT_EQ(run_nprmctl({"hw", "decode", "flow table(key) index", "-", "--json"}, std::string(16, '\1'))
                  .json()
                  .at("fields")
                  .at("cli_port"),
              257);
}

TEST(NprmctlHwDecode, TellsThatAnEntryIsShort) {
    const nprmctl_run run = run_nprmctl({"hw", "decode", "5", "-"}, "\5");
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.output, HasSubstr("\n  cb0.default_qid_v               1    0x1 (1)\n"));
    EXPECT_EQ(run.errors, "nprmctl: the entry has 1 byte, its layout 16: the others print as 0\n");
}

TEST(NprmctlHwDecode, RefusesWhatIsNoTypeOrNoEntry) {
    const struct {
        strings_of command;
        std::string input;
        const char *says;
    } rows[] = {
        {{"0", "-"}, "a", "TYPE is \"0\", it must be a number from 1 to 24"},
        {{"2", "-"}, "a", "type 2 has no fields to decode"},
        {{"25", "-"}, "a", "TYPE is \"25\""},
        {{"port", "-"}, "a", "TYPE is \"port\", it must be the number or the title of a type"},
        {{"", "-"}, "a", "TYPE is \"\""},
        {{"5", "-"}, "", "standard input is empty"},
        {{"5", "-"}, std::string(205, 'a'), "standard input is larger than 204 bytes, the most that an entry has"},
        {{"5", "-", "--hex"}, std::string(410, 'a'), "standard input has 205 bytes, an entry at most 204"},
        {{"5", "-", "--hex"}, "0x123456789", "\"0x123456789\" is no word of 32 bits"},
        {{"5", "-", "--hex"}, "0x", "\"0x\" is no word of 32 bits"},
        {{"5", "-", "--hex"}, "abc", "ends in half a byte"},
        {{"5", "-", "--hex"}, " \n", "standard input is empty"},
    };
    for (const auto &row : rows) {
        strings_of command = {"hw", "decode"};
        command.insert(command.end(), row.command.begin(), row.command.end());
        const nprmctl_run run = run_nprmctl(command, row.input);
        EXPECT_EQ(run.status, 2) << row.says;
        EXPECT_EQ(run.output, "") << row.says;
        EXPECT_THAT(run.errors, HasSubstr(row.says));
    }
}

}  // namespace
