// Status texts, the detailed error strings, the raise functions and the CUDA/cuBLAS checks.
#include "runtime_fixture.h"

#include <cstring>
#include <string>

namespace runtime_test {
namespace {

using Status = RuntimeTest;

TEST_F(Status, EveryStatusHasItsFixedTextAndName) {
    struct Row {
        int value;
        const char *text, *name;
    };
    const Row rows[] = {
        {0, "No errors", "zuliNoError"}, {1, "ZULI is not initialized", "zuliNotInitialized"},
        {2, "No hardware is present to run ZULI", "zuliNoHardware"},
        {3, "CUDA runtime or driver is not supported", "zuliInsufficientRuntime"},
        {4, "Hardware does not have the required compute capability for this problem",
         "zuliInsufficientComputeCapability"},
        {5, "Insufficient memory to complete this operation", "zuliInsufficientMemory"},
        {6, "A required feature is not yet implemented", "zuliFeatureNotImplemented"},
        {7, "Argument error; see zuliGetErrorInfo for error code", "zuliArgumentError"},
        {8, "Data error; see zuliGetErrorInfo for error code", "zuliDataError"},
        {9, "Blas error; see zuliGetErrorInfo for error code", "zuliBlasError"},
        {10, "Runtime error; see zuliGetErrorInfo for error code", "zuliRuntimeError"},
        {11, "Invalid storage format; this operation cannot continue", "zuliBadStorageFormat"},
        {12, "Invalid reference handle", "zuliInvalidReferenceHandle"},
        {13, "Unspecified error; contact the ZULI team", "zuliUnspecifiedError"},
        {14, "Invalid zuliStatus", "Invalid zuliStatus"},
        {-1, "Invalid zuliStatus", "Invalid zuliStatus"},
        {1 << 30, "Invalid zuliStatus", "Invalid zuliStatus"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.value);
        EXPECT_STREQ(zuliGetStatusString(static_cast<zuliStatus>(row.value)), row.text);
        EXPECT_STREQ(zuli::statusName(row.value), row.name);
    }
}

TEST_F(Status, ErrorInfoStringArgumentChecksLeaveTheStatusCell) {
    char buf[16];
    struct Row {
        int status;
        char* buffer;
        int size;
        zuliInfo info;
    };
    const Row rows[] = {
        {3, nullptr, 10, -3}, {3, buf, 0, -4},      {3, buf, -5, -4},
        {20, buf, 10, -1},    {-1, nullptr, 0, -1}, {14, buf, 10, -1},
        {13, nullptr, -1, -3},  // the first failing check wins
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::Message() << row.status << " " << row.size);
        zuli::setLastStatus(zuliDataError);
        EXPECT_EQ(zuliGetErrorInfoString(static_cast<zuliStatus>(row.status), 0, row.buffer,
                                         row.size),
                  zuliArgumentError);
        EXPECT_EQ(zuliGetErrorInfo(), row.info);
        EXPECT_EQ(zuli::lastStatus(), zuliDataError);
    }
}

TEST_F(Status, ErrorInfoStringPerStatusUsesTheMagnitudeOfInfo) {
    const std::string argument3 =
        "Argument 3 is invalid (see the Reference Manual for more information)";
    const std::string blas = "CUBLAS error: ";
    struct Row {
        int status;
        zuliInfo info;
        std::string text;
    };
    const Row rows[] = {
        {7, -3, argument3}, {7, 3, argument3},
        {8, -17, "This status can mean one of the following:\n"
                 "    ZULI Dense: Data error at pos 17 (see the Reference Manual for guidance)"},
        {10, 2, "CUDA Error:  out of memory (see Programmer's Guide)"},
        {10, -1, std::string("CUDA Error:  ") + cudaGetErrorString(cudaErrorInvalidValue) +
                     " (see Programmer's Guide)"},
        {9, 0, blas + "call zuliGetErrorInfo() to determine this error with specificity"},
        {9, 1, blas + "not initialized"},     {9, 3, blas + "allocation failure"},
        {9, -7, blas + "Invalid argument value"}, {9, 8, blas + "architecture mismatch"},
        {9, 11, blas + "mapping error"},      {9, 13, blas + "execution failed"},
        {9, 14, blas + "internal error"},     {9, 15, blas + "unknown"},  // not supported
        {9, 2, blas + "unknown"},             {9, 16, blas + "unknown"},
    };
    std::vector<Row> all(std::begin(rows), std::end(rows));
    for (int e : {0, 1, 2, 3, 4, 5, 6, 11, 12, 13}) all.push_back({e, 5, ""});  // no details
    for (const Row& row : all) {
        SCOPED_TRACE(testing::Message() << row.status << " " << row.info);
        std::string buf(512, 'x');
        EXPECT_EQ(zuliGetErrorInfoString(static_cast<zuliStatus>(row.status), row.info,
                                         buf.data(), 512),
                  zuliNoError);
        EXPECT_EQ(std::string(buf.c_str()), row.text);
    }
}

TEST_F(Status, ErrorInfoStringTruncatesToTheBufferAndFillsItWithZeros) {
    struct Row {
        zuliStatus status;
        zuliInfo info;
        int size;
        const char* text;
    };
    const Row rows[] = {{zuliArgumentError, -3, 1, ""}, {zuliBlasError, 7, 6, "CUBLA"},
                        {zuliNoError, 0, 7, ""}};
    for (const Row& row : rows) {
        SCOPED_TRACE(row.size);
        char buf[8];
        std::memset(buf, 'x', sizeof buf);
        ASSERT_EQ(zuliGetErrorInfoString(row.status, row.info, buf, row.size), zuliNoError);
        EXPECT_STREQ(buf, row.text);
        for (int i = int(std::strlen(row.text)); i < row.size; ++i) EXPECT_EQ(buf[i], '\0') << i;
        EXPECT_EQ(buf[row.size], 'x') << "bytes past bufsize are not touched";
    }
}

TEST(RaiseFunctions, StoreTheStatusOfTheirKind) {
    struct Row {
        int kind;  // 0 argument, 1 data, 2 from LAPACK info, 3 internal host LAPACK info
        int32_t info, status;
    };
    const Row rows[] = {
        {0, -4, zuliArgumentError}, {1, 3, zuliDataError}, {2, -2, zuliArgumentError},
        {2, 0, zuliArgumentError},  {2, 1, zuliDataError}, {2, 9, zuliDataError},
        {3, -6, zuliRuntimeError},  {3, 5, zuliDataError},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::Message() << row.kind << " " << row.info);
        try {
            switch (row.kind) {
            case 0: zuli::raiseArgumentError(row.info);
            case 1: zuli::raiseDataError(row.info);
            case 2: zuli::raiseFromLapackInfo(row.info);
            default: zuli::checkHostLapackInfo(row.info);
            }
            ADD_FAILURE() << "no InfoException raised";
        } catch (const zuli::InfoException& e) {
            EXPECT_EQ(e.info(), row.info);
            EXPECT_EQ(e.status(), row.status);
        }
    }
    EXPECT_NO_THROW(zuli::checkHostLapackInfo(0));
}

}  // namespace
}  // namespace runtime_test
