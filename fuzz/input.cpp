#include "input.h"

#include <cstdio>
#include <cstdlib>

namespace fuzz {

void require(bool holds, const char *rule)
{
    if (!holds) {
        fprintf(stderr, "Does not hold: %s\n", rule);
        abort();
    }
}

} // namespace fuzz
