#include "core/statusmask.h"

StatusAction status_mask_action(int mask, int field)
{
    const int value = (mask >> (2 * field)) & 3;
    if (value == 0)
        return StatusAction::Leave;
    // Only exactly 1 enables; 2 and 3 both disable.
    return value == 1 ? StatusAction::Enable : StatusAction::Disable;
}
