// Tells why a command failed, as text or JSON.

#include "failure.h"

#include "nprm.h"
#include "result_texts.h"

#include <cstdio>
#include <utility>

#include <nlohmann/json.hpp>

failure refused(std::string what, std::string next) {
    return {exit_refused, std::move(what), std::move(next), {}, {}, {}, {}};
}

failure usage_error(std::string what, std::string next) {
    return {exit_usage, std::move(what), std::move(next), {}, {}, {}, {}};
}

failure text_errors(const std::string &file, std::vector<text_error> errors) {
    const std::string count = errors.size() == 1 ? "1 error" : std::to_string(errors.size()) + " errors";
    return {exit_usage, file + " has " + count + ", nothing was sent", {}, {}, {}, file, std::move(errors)};
}

failure refusal(const std::string &what, uint32_t code, std::string detail, const char *meaning) {
    result_text known = text_of_result(code);
    if (meaning != nullptr) known.meaning = meaning;
    const std::string why = known.meaning == nullptr ? std::string{} : std::string(", ") + known.meaning;
    return {exit_refused,
            what + ": " + result_name(code).value_or("a code without a name") + " (" + std::to_string(code) + ")" + why,
            known.next == nullptr ? "" : known.next,
            code,
            std::move(detail),
            {},
            {}};
}

std::optional<std::string> result_name(uint32_t code) {
    if (code < NPRM_RESULT_CODE_COUNT && nprm_error_str[code] != nullptr) return nprm_error_str[code];
    return std::nullopt;
}

namespace {

std::string json_of(const failure &problem) {
    nlohmann::ordered_json error = {{"what", problem.what}};
    if (problem.code) {
        error["code"] = *problem.code;
        if (const auto name = result_name(*problem.code)) error["name"] = *name;
    }
    if (!problem.detail.empty()) error["detail"] = problem.detail;
    if (!problem.next.empty()) error["next"] = problem.next;
    for (const auto &[name, value] : problem.numbers)
        error[name] = value;
    if (!problem.errors.empty()) {
        error["file"] = problem.file;
        for (const text_error &at : problem.errors)
            error["errors"].push_back({{"line", at.line}, {"column", at.column}, {"message", at.message}, {"text", at.source}});
    }
    const nlohmann::ordered_json document = {{"error", std::move(error)}};
    return document.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

}  // namespace

void print_failure(const failure &problem, bool json) {
    if (json) {
        std::puts(json_of(problem).c_str());
        return;
    }
    for (const text_error &at : problem.errors)
        std::fputs(explained(at, problem.file).c_str(), stderr);
    std::fprintf(stderr, "nprmctl: %s\n", printable(problem.what).c_str());
    if (!problem.detail.empty()) std::fprintf(stderr, "  the library says: %s\n", printable(problem.detail).c_str());
    const char *lead = problem.next.starts_with("usage: ") ? "" : "try: ";
    if (!problem.next.empty()) std::fprintf(stderr, "  %s%s\n", lead, printable(problem.next).c_str());
}
