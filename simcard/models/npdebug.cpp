// The network processor's debug facility: a session, and commands that look into the card (component 10).

#include <array>
#include <cstring>
#include <iterator>

#include <nlohmann/json.hpp>

#include "api/diag/nprm_registers.h"
#include "api/wire/nprm_npdebug_wire.h"
#include "hw_tables.h"
#include "npa_state.h"
#include "simcard/model.h"
#include "simcard/nprm_npdebug_fields.h"

namespace {

uint32_t session;   // 0: none was begun
uint32_t requests;  // of all sessions

using words = std::array<uint32_t, NPRM_NPDEBUG_COMMAND_WORDS>;
using answer_words = uint32_t[NPRM_NPDEBUG_ANSWER_WORDS];

uint32_t echo(const words &command, answer_words &answer) {
    for (size_t i = 0; i < std::size(answer); ++i)
        answer[i] = command[2 + i];
    return NPRM_OK;
}

uint32_t read_register(const words &command, answer_words &answer) {
    if (command[2] >= NPRM_NP_REGISTER_COUNT) return NPRM_ERROR_PARAM;
    answer[0] = command[2];
    answer[1] = register_value(command[2]);
    return NPRM_OK;
}

uint32_t describe_table(const words &command, answer_words &answer) {
    const hw_table *table = find_hw_table(command[2]);
    if (table == nullptr) return NPRM_ERROR_PARM_STRUCT_ID;
    answer[0] = table->capacity();
    answer[1] = used_entries(*table);
    answer[2] = table->entry_bytes;
    return NPRM_OK;
}

uint32_t tell_time(const words &, answer_words &answer) {
    const uint64_t time = life_of_np().microseconds;
    answer[0] = static_cast<uint32_t>(time);
    answer[1] = static_cast<uint32_t>(time >> 32);
    answer[2] = static_cast<uint32_t>(life_of_np().packets);
    return NPRM_OK;
}

// By their numbers, nprm_npdebug_command.
constexpr uint32_t (*commands[])(const words &, answer_words &) = {echo, read_register, describe_table, tell_time};
static_assert(std::size(commands) == NPRM_NPDEBUG_COMMANDS);

// The command's words and the answer's, which are not aligned in their messages.
struct exchange {
    words command;
    answer_words answer = {};

    explicit exchange(const model_request &from) {
        std::memcpy(command.data(), &from.at<nprm_npdebug_record>(0).block, sizeof command);
    }
    void put(model_reply &reply) const { std::memcpy(&reply.at<nprm_npdebug_record>(0).block, answer, sizeof answer); }
};

uint32_t begin(const model_request &from, model_reply &reply) {
    exchange of(from);
    if (of.command[0] != NPRM_NPDEBUG_PROTOCOL) return NPRM_ERROR_UNSUPPORTED;
    of.answer[0] = NPRM_NPDEBUG_PROTOCOL;
    of.answer[1] = ++session;
    of.answer[2] = NPRM_NPDEBUG_COMMANDS;
    of.put(reply);
    return NPRM_OK;
}

uint32_t serve(const model_request &from, model_reply &reply) {
    exchange of(from);
    if (session == 0 || of.command[0] != session) return NPRM_ERROR_NP_API_CALL;
    if (of.command[1] >= std::size(commands)) return NPRM_ERROR_UNSUPPORTED;
    if (const uint32_t code = commands[of.command[1]](of.command, of.answer)) return code;
    ++requests;
    of.put(reply);
    return NPRM_OK;
}

void reset(const card_configuration &) {
    session = requests = 0;
}

nlohmann::json describe() {
    return {{"session", session}, {"requests", requests}};
}

constexpr model_operation operations[] = {
    {NPRM_NPDEBUG_INIT, "begin a session", begin},
    {NPRM_NPDEBUG_REQUEST, "debug request", serve},
};

}  // namespace

constexpr component_model npdebug_model = {
    .component = NPRM_COMPONENT_NPDEBUG,
    .operations = operations,
    .head_records = 0,
    .malformed = NPRM_ERROR_PARAM,
    .unknown_operation = NPRM_ERROR_UNSUPPORTED,
    .reset = reset,
    .describe = describe,
};
