#include "records/model/change_record.h"

#include <gtest/gtest.h>

namespace tavi::records {
namespace {

TEST(ChangeRecord, ReasonNamesAreThoseOfTheDumps) {
    const struct {
        std::int32_t value;
        std::string_view name;
    } rows[] = {
        {-2, ""},
        {-1, "UNKNOWN"},
        {0, ""},
        {1, "CREATE"},
        {2, "DELETE"},
        {3, "MODIFY"},
        {4, "MOVE"},
        {5, "RENAME"},
        {6, "RENAME_OLD_NAME"},
        {7, "RENAME_NEW_NAME"},
        {8, ""},
        {2147483647, ""},
        {-2147483647 - 1, ""},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(ReasonName(static_cast<FileChangeReason>(row.value)), row.name) << row.value;
    }
}

TEST(ChangeRecord, NewRecordHasNoOtherHalfAndWasNeverHeldBack) {
    const FileChangeInfo record;
    EXPECT_EQ(record.oldfrn, 0xFFFFFFFFFFFFFFFF);
    EXPECT_EQ(record.delayCount, 0U);
    EXPECT_FALSE(record.isTempFile);
    EXPECT_EQ(TemporaryFile{}.isHandle, 0U);
}

}  // namespace
}  // namespace tavi::records
