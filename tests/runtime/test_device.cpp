// Devices and versions: counting, selecting, describing devices, the version getters, the unit
// prefixes and the device report.
#include "runtime_fixture.h"

#include <cstring>
#include <string>

namespace runtime_test {
namespace {

using Devices = RuntimeTest;

void configure(int dev, const char* name, unsigned long long bytes, int clockKHz) {
    zuliEmuDeviceConfig cfg;
    ASSERT_EQ(zuliEmuGetDeviceConfig(dev, &cfg), 0);
    std::snprintf(cfg.name, sizeof cfg.name, "%s", name);
    cfg.totalMem = bytes;
    cfg.clockRateKHz = clockKHz;
    ASSERT_EQ(zuliEmuConfigureDevice(dev, &cfg), 0);
}

TEST_F(Devices, CountAndSelectionWorkBeforeInitialisation) {
    int count = -1, device = -7;
    for (int n : {1, 16}) {
        ASSERT_EQ(zuliEmuSetDeviceCount(n), 0);
        configure(0, "NVIDIA H200", 1ull << 30, 1000000);  // family names do not decide support
        EXPECT_EQ(zuliGetDeviceCount(&count), zuliNoError);
        EXPECT_EQ(count, n);
    }
    EXPECT_EQ(zuliGetExecutingDevice(&device), zuliNotInitialized);
    EXPECT_EQ(device, -7);
    ASSERT_EQ(zuliEmuSetDeviceCount(3), 0);
    struct Row {
        int dev;
        zuliStatus status;
    };
    const Row rows[] = {{-1, zuliArgumentError}, {3, zuliArgumentError}, {16, zuliArgumentError},
                        {2, zuliNoError},        {0, zuliNoError},       {1, zuliNoError}};
    int expectedCurrent = 0;
    for (const Row& row : rows) {
        SCOPED_TRACE(row.dev);
        EXPECT_EQ(zuliSelectDevice(row.dev), row.status);
        EXPECT_EQ(zuliGetErrorInfo(), row.status == zuliNoError ? 0 : -1);
        if (row.status == zuliNoError) expectedCurrent = row.dev;
        ASSERT_EQ(cudaGetDevice(&device), cudaSuccess);
        EXPECT_EQ(device, expectedCurrent);
    }
    // After initialisation the executing device is the selected one.
    ASSERT_EQ(zuliInitialize(), zuliNoError);
    EXPECT_EQ(zuliGetExecutingDevice(&device), zuliNoError);
    EXPECT_EQ(device, 1);
    ASSERT_EQ(zuliSelectDevice(2), zuliNoError);
    EXPECT_EQ(zuliGetExecutingDevice(&device), zuliNoError);
    EXPECT_EQ(device, 2);
    // Null outputs, and a runtime refusing the device.
    EXPECT_EQ(zuliGetExecutingDevice(nullptr), zuliArgumentError);
    EXPECT_EQ(zuliGetErrorInfo(), -1);
    EXPECT_EQ(zuliGetDeviceCount(nullptr), zuliArgumentError);
    EXPECT_EQ(zuliGetErrorInfo(), -1);
    zuliEmuFailCudaCall("cudaSetDevice", 1, cudaErrorDevicesUnavailable);
    EXPECT_EQ(zuliSelectDevice(1), zuliRuntimeError);
    EXPECT_EQ(zuliGetErrorInfo(), cudaErrorDevicesUnavailable);
}

TEST_F(Devices, InfoNamesTheDeviceAndItsMemory) {
    ASSERT_EQ(zuliEmuSetDeviceCount(3), 0);
    char buf[128];
    struct Row {
        int dev;
        char* buf;
        int size;
        zuliInfo info;
    };
    const Row rows[] = {{-1, buf, 64, -1}, {3, buf, 64, -1}, {0, nullptr, 64, -2},
                        {1, buf, 0, -3},   {0, buf, -4, -3}, {5, nullptr, 0, -1},
                        {0, nullptr, 0, -2}};
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::Message() << row.dev << " " << row.size);
        EXPECT_EQ(zuliGetDeviceInfo(row.dev, row.buf, row.size), zuliArgumentError);
        EXPECT_EQ(zuliGetErrorInfo(), row.info);
    }
    configure(1, "Tesla K40m", 12ull << 30, 745000);
    configure(2, "Small", 512ull << 20, 745000);
    const char* names[] = {"Zuli Emulated GPU (sm_90) (80 GB)", "Tesla K40m (12 GB)",
                           "Small (512 MB)"};
    for (int dev = 0; dev < 3; ++dev) {
        EXPECT_EQ(zuliGetDeviceInfo(dev, buf, sizeof buf), zuliNoError);
        EXPECT_STREQ(buf, names[dev]);
    }
    std::memset(buf, 'x', sizeof buf);
    EXPECT_EQ(zuliGetDeviceInfo(1, buf, 4), zuliNoError);
    EXPECT_STREQ(buf, "Tes");
    EXPECT_EQ(buf[4], 'x');
}

TEST_F(Devices, VersionGettersTouchNeitherCell) {
    zuli::setLastStatus(zuliDataError);
    zuli::setLastInfo(31);
    zuliEmuSetVersions(12080, 12090, 120805);
    EXPECT_EQ(zuliGetCudaRuntimeVersion(), 12080);
    EXPECT_EQ(zuliGetCudaDriverVersion(), 12090);
    EXPECT_EQ(zuliGetCublasRuntimeVersion(), 120805);
    zuliEmuSetMode(ZULI_EMU_MODE_NO_DRIVER);
    EXPECT_EQ(zuliGetCudaDriverVersion(), 0);
    EXPECT_EQ(zuli::lastStatus(), zuliDataError);
    EXPECT_EQ(zuliGetErrorInfo(), 31);
}

TEST(UnitPrefix, ScalesByTheBaseAndPicksTheCharacter) {
    struct Row {
        double value, base, scaled;
        char prefix;
    };
    const Row rows[] = {
        {0, 1024, 0, ' '},         {512, 1024, 512, ' '},      {1024, 1024, 1, 'K'},
        {0x14p32, 1024, 80, 'G'},  {0x3p40, 1024, 3, 'T'},     {0x5p60, 1024, 5, 'E'},
        {1.98e9, 1000, 1.98, 'G'}, {745e6, 1000, 745, 'M'},    {0.5, 1000, 500, 'm'},
        {2e-6, 1000, 2, 'u'},      {1e30, 1000, 1e9, 'H'},  // the table ends at H
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.value);
        zuli::ScaledValue s = zuli::scaleToUnitPrefix(row.value, row.base);
        EXPECT_NEAR(s.value, row.scaled, 1e-9 * row.scaled);
        EXPECT_EQ(s.prefix, row.prefix);
    }
    // Usable memory keeps 85 percent in integer steps of a hundredth.
    EXPECT_EQ(zuli::usableMemory(99), 99u);
    EXPECT_EQ(zuli::usableMemory(85899345920ull), 73014444035ull);
}

TEST_F(Devices, ReportForOneAndForSeveralDevices) {
    const std::string first = "\tName: Zuli Emulated GPU (sm_90)\n"
                              "\tMemory: 80 GB  (68 GB Usable)\n"
                              "\tClock: 1.98 GHz\n";
    EXPECT_EQ(zuli::deviceReport(), "Found 1 supported GPU\n" + first);
    ASSERT_EQ(zuliEmuSetDeviceCount(2), 0);
    configure(1, "Second", 16ull << 30, 1410000);
    zuli::clearDeviceCaches();
    EXPECT_EQ(zuli::deviceReport(), "Found 2 supported GPUs\nDevice 0\n" + first +
                                        "Device 1\n"
                                        "\tName: Second\n"
                                        "\tMemory: 16 GB  (14 GB Usable)\n"
                                        "\tClock: 1.41 GHz\n"
                                        "Totals for 2 devices:\n"
                                        "\tMemory: 96 GB\n");
    zuliEmuSetMode(ZULI_EMU_MODE_NO_DEVICE);
    EXPECT_EQ(zuli::deviceReport(), "Found 0 supported GPU\n");
}

TEST_F(Devices, CapabilityCacheIsRefreshedByInitialisationAndRefusesBadIndices) {
    ASSERT_EQ(zuliInitialize(), zuliNoError);
    EXPECT_EQ(zuli::deviceCapability(0).code, 90);
    ASSERT_EQ(zuliEmuSetComputeCapability(0, 1, 2), 0);
    EXPECT_EQ(zuli::deviceCapability(0).code, 90) << "cached";
    ASSERT_EQ(zuliInitialize(), zuliNoError);
    EXPECT_EQ(zuli::deviceCapability(0).code, 12);
    EXPECT_FALSE(zuli::deviceCapability(0).doublePrecision);
    for (int device : {-1, 16, 17}) {
        try {
            zuli::deviceCapability(device);
            ADD_FAILURE() << device << " accepted";
        } catch (const cudalib::CudaRuntimeException& e) {
            EXPECT_EQ(e.code(), cudaErrorInvalidDevice);
        }
    }
}

}  // namespace
}  // namespace runtime_test
