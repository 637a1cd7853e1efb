// The status mask: six two-bit fields, one per job control (Open, Batch,
// Test, Clean, Convert, Record). 0 leaves a control, 1 makes it sensitive,
// 2 and 3 make it insensitive.
#pragma once

constexpr int STATUS_FIELD_COUNT = 6;
constexpr int STATUS_NO_FILE_ATTACHED = 4080; // 0xFF0
constexpr int STATUS_FILE_ATTACHED = 1360;    // 0x550
constexpr int STATUS_BATCH_COMPLETE = 4085;   // 0xFF5

enum class StatusAction { Leave, Enable, Disable };

// What the mask asks of field `field` (0 = Open ... 5 = Record).
StatusAction status_mask_action(int mask, int field);
