// The status mask's fields.
#include "core/statusmask.h"

#include <gtest/gtest.h>

TEST(StatusMaskFields, ValuesOfTheNamedMasks)
{
    EXPECT_EQ(STATUS_NO_FILE_ATTACHED, 0xFF0);
    EXPECT_EQ(STATUS_FILE_ATTACHED, 0x550);
    EXPECT_EQ(STATUS_BATCH_COMPLETE, 0xFF5);
}

TEST(StatusMaskFields, ZeroLeavesOneEnablesTwoAndThreeDisable)
{
    for (int field = 0; field < STATUS_FIELD_COUNT; ++field) {
        EXPECT_EQ(status_mask_action(0 << (2 * field), field), StatusAction::Leave);
        EXPECT_EQ(status_mask_action(1 << (2 * field), field), StatusAction::Enable);
        EXPECT_EQ(status_mask_action(2 << (2 * field), field), StatusAction::Disable);
        EXPECT_EQ(status_mask_action(3 << (2 * field), field), StatusAction::Disable);
    }
}

TEST(StatusMaskFields, NamedMasksPerField)
{
    const StatusAction L = StatusAction::Leave, E = StatusAction::Enable, D = StatusAction::Disable;
    const StatusAction no_file[] = {L, L, D, D, D, D};
    const StatusAction attached[] = {L, L, E, E, E, E};
    const StatusAction batch[] = {E, E, D, D, D, D};
    for (int field = 0; field < STATUS_FIELD_COUNT; ++field) {
        EXPECT_EQ(status_mask_action(STATUS_NO_FILE_ATTACHED, field), no_file[field]);
        EXPECT_EQ(status_mask_action(STATUS_FILE_ATTACHED, field), attached[field]);
        EXPECT_EQ(status_mask_action(STATUS_BATCH_COMPLETE, field), batch[field]);
    }
}
