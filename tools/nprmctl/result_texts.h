// What the result codes mean to a user, and what to try next.
#ifndef NPRMCTL_RESULT_TEXTS_H
#define NPRMCTL_RESULT_TEXTS_H

#include <cstdint>

struct result_text {
    const char *meaning;  // null: nothing is known
    const char *next;     // null: nothing to suggest
};

result_text text_of_result(uint32_t code);

// The family that a code belongs to, with who raises it; "unknown" above the last.
const char *family_of_result(uint32_t code);

#endif
