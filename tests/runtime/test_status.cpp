// Status texts, the detailed error strings, the raise functions and the CUDA/cuBLAS checks.
#include "runtime_fixture.h"

#include <cstring>
#include <string>

namespace runtime_test {
namespace {

using StatusText = RuntimeTest;

TEST_F(StatusText, EveryStatusHasItsFixedTextAndName) {
    struct Row {
        int value;
        const char* text;
        const char* name;
    };
    const Row rows[] = {
        {0, "No errors", "zuliNoError"},
        {1, "ZULI is not initialized", "zuliNotInitialized"},
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

// ---- zuliGetErrorInfoString -----------------------------------------------------------------------

using ErrorInfoString = RuntimeTest;

TEST_F(ErrorInfoString, BadArgumentsGiveArgumentErrorAndLeaveTheStatusCell) {
    char buf[16];
    struct Row {
        int status;
        char* buffer;
        int size;
        zuliInfo info;
    };
    const Row rows[] = {
        {3, nullptr, 10, -3},  {3, buf, 0, -4},      {3, buf, -5, -4},
        {20, buf, 10, -1},     {-1, nullptr, 0, -1}, {14, buf, 10, -1},
        {13, nullptr, -1, -3}, // the first failing check wins
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

std::string infoString(zuliStatus e, zuliInfo info, int size = 512) {
    std::string buf(static_cast<size_t>(size), 'x');
    EXPECT_EQ(zuliGetErrorInfoString(e, info, buf.data(), size), zuliNoError);
    return std::string(buf.c_str());
}

TEST_F(ErrorInfoString, FormatsUseTheMagnitudeOfInfo) {
    const std::string argument3 =
        "Argument 3 is invalid (see the Reference Manual for more information)";
    EXPECT_EQ(infoString(zuliArgumentError, -3, 100), argument3);
    EXPECT_EQ(infoString(zuliArgumentError, 3, 100), argument3);
    EXPECT_EQ(infoString(zuliDataError, -17),
              "This status can mean one of the following:\n"
              "    ZULI Dense: Data error at pos 17 (see the Reference Manual for guidance)");
    EXPECT_EQ(infoString(zuliRuntimeError, 2), "CUDA Error:  out of memory (see Programmer's Guide)");
    EXPECT_EQ(infoString(zuliRuntimeError, -1),
              std::string("CUDA Error:  ") + cudaGetErrorString(cudaErrorInvalidValue) +
                  " (see Programmer's Guide)");
}

TEST_F(ErrorInfoString, BlasStatusesHaveTheirTexts) {
    struct Row {
        zuliInfo info;
        const char* text;
    };
    const Row rows[] = {
        {0, "call zuliGetErrorInfo() to determine this error with specificity"},
        {1, "not initialized"},       {3, "allocation failure"},
        {-7, "Invalid argument value"}, {8, "architecture mismatch"},
        {11, "mapping error"},        {13, "execution failed"},
        {14, "internal error"},       {15, "unknown"},  // not-supported reads "unknown"
        {2, "unknown"},               {16, "unknown"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.info);
        EXPECT_EQ(infoString(zuliBlasError, row.info), std::string("CUBLAS error: ") + row.text);
    }
}

TEST_F(ErrorInfoString, StatusesWithoutDetailsGiveTheEmptyString) {
    for (int e : {0, 1, 2, 3, 4, 5, 6, 11, 12, 13}) {
        SCOPED_TRACE(e);
        EXPECT_EQ(infoString(static_cast<zuliStatus>(e), 5), "");
    }
}

TEST_F(ErrorInfoString, TruncatesToTheBufferAndFillsItWithZeros) {
    char buf[8];
    std::memset(buf, 'x', sizeof buf);
    ASSERT_EQ(zuliGetErrorInfoString(zuliArgumentError, -3, buf, 1), zuliNoError);
    EXPECT_EQ(buf[0], '\0');
    EXPECT_EQ(buf[1], 'x') << "bytes past bufsize are not touched";

    std::memset(buf, 'x', sizeof buf);
    ASSERT_EQ(zuliGetErrorInfoString(zuliBlasError, 7, buf, 6), zuliNoError);
    EXPECT_STREQ(buf, "CUBLA");
    EXPECT_EQ(buf[6], 'x');

    std::memset(buf, 'x', sizeof buf);
    ASSERT_EQ(zuliGetErrorInfoString(zuliNoError, 0, buf, 7), zuliNoError);
    for (int i = 0; i < 7; ++i) EXPECT_EQ(buf[i], '\0') << i;
    EXPECT_EQ(buf[7], 'x');
}

// ---- raise functions -------------------------------------------------------------------

template <typename F>
zuli::InfoException caughtInfo(F raise) {
    try {
        raise();
    } catch (const zuli::InfoException& e) {
        return e;
    }
    ADD_FAILURE() << "no InfoException raised";
    return zuli::InfoException(0, 0);
}

TEST(RaiseFunctions, StoreTheStatusOfTheirKind) {
    struct Row {
        int kind;  // 0 argument, 1 data, 2 from LAPACK info, 3 internal host LAPACK info
        int32_t info;
        int32_t status;
    };
    const Row rows[] = {
        {0, -4, zuliArgumentError}, {1, 3, zuliDataError},      {2, -2, zuliArgumentError},
        {2, 0, zuliArgumentError},  {2, 1, zuliDataError},      {2, 9, zuliDataError},
        {3, -6, zuliRuntimeError},  {3, 5, zuliDataError},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::Message() << row.kind << " " << row.info);
        zuli::InfoException e = caughtInfo([&] {
            switch (row.kind) {
            case 0: zuli::raiseArgumentError(row.info);
            case 1: zuli::raiseDataError(row.info);
            case 2: zuli::raiseFromLapackInfo(row.info);
            default: zuli::checkHostLapackInfo(row.info);
            }
        });
        EXPECT_EQ(e.info(), row.info);
        EXPECT_EQ(e.status(), row.status);
    }
    EXPECT_NO_THROW(zuli::checkHostLapackInfo(0));
}

}  // namespace
}  // namespace runtime_test
