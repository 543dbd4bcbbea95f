// Result codes' names and explanations, and nprm_syslog.

#include "nprm_result.h"

#include "../../util/ad_debug/ad_debug.h"
#include "../../util/ad_debug/ad_errorlog.h"
#include "log.h"

#include <cstdarg>
#include <cstdio>
#include <iterator>

#define AS_NAME(number, name) #name,
#define NO_NAME(number) nullptr,
#define AS_NUMBER(number, name) number,
#define NO_NAME_NUMBER(number) number,
constinit const char *nprm_error_str[NPRM_RESULT_CODE_COUNT] = {NPRM_RESULT_CODES(AS_NAME, NO_NAME)};
constinit uint32_t nprm_syslog_flag = NPRM_SYSLOG_FLAG_DEFAULT;

namespace {

constexpr uint32_t code_numbers[] = {NPRM_RESULT_CODES(AS_NUMBER, NO_NAME_NUMBER)};

constexpr bool numbered_by_row() {
    for (uint32_t row = 0; row < std::size(code_numbers); ++row)
        if (code_numbers[row] != row) return false;
    return std::size(code_numbers) == NPRM_RESULT_CODE_COUNT;
}
static_assert(numbered_by_row(), "a result code is missing or out of place in NPRM_RESULT_CODES");

struct explanation {
    uint32_t code;
    const char *text;
};

// The other codes print their name.  Code 1 has a text that its general name does not suggest; it is meant so.
constexpr explanation explanations[] = {
    {NPRM_ERROR, "IPC failure\n"},
    {NPRM_ERROR_PARAM, "Invalid parameter\n"},
    {NPRM_ERROR_MALLOC, "Cannot allocate memory\n"},
    {NPRM_ERROR_IPC_SEND, "IPC send error\n"},
    {NPRM_ERROR_NP_API_CALL, "NP API call failure\n"},
    {NPRM_ERROR_PARM_STRUCT_ID, "Invalid structure ID\n"},
    {NPRM_ERROR_PARM_VERIFY_STRUCT_ID, "Could not get structure information\n"},
    {NPRM_ERROR_PARAM_INVALID_KEY_LENGTH, "Invalid key length\n"},
    {NPRM_ERROR_PARAM_KEY_NOT_FOUND, "No Match found\n"},
};

constexpr size_t stderr_text_bytes = 128;

}  // namespace

namespace nprm {

const char *result_name(uint32_t code) {
    const char *name = code < NPRM_RESULT_CODE_COUNT ? nprm_error_str[code] : nullptr;
    return name != nullptr ? name : "(null)";
}

}  // namespace nprm

uint32_t nprm_error_condition(uint32_t code, FILE *out) {
    if (code == NPRM_OK) return 0;
    for (const explanation &known : explanations) {
        if (known.code != code) continue;
        fwrite(known.text, 1, __builtin_strlen(known.text), out);
        return 1;
    }
    if (code < NPRM_RESULT_CODE_COUNT)
        fprintf(out, "Error: %s\n", nprm::result_name(code));
    else
        fprintf(out, "Error rc = %d\n", static_cast<int>(code));
    return 1;
}

int nprm_syslog(uint32_t /*facility*/, uint32_t /*reserved1*/, uint32_t /*reserved2*/, uint32_t /*level*/, const char *format,
                ...) {
    va_list arguments;
    va_start(arguments, format);
    int written = 0;
    if (ad_debug_inited() != 0) {
        written = static_cast<int>(ad_errorlog_vprintf(format, arguments));
    } else {
        char text[stderr_text_bytes] = "";
        vsnprintf(text, sizeof text, format, arguments);
        text[sizeof text - 1] = '\0';
        written = fputs(text, stderr);
    }
    va_end(arguments);
    return written;
}
