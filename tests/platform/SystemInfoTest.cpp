#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "platform/SystemInfo.h"

namespace {

TEST(CSystemInfo, ModulePathIsThisTest) {
    const std::string path = CSystemInfo::ModulePath();
    ASSERT_FALSE(path.empty());
    EXPECT_EQ(path.front(), '/');
    EXPECT_NE(path.find("SystemInfoTest"), std::string::npos);
}

TEST(CSystemInfo, CountsPlaybackLinesOfTheSoundListing) {
    std::istringstream listing(
        "00-00: Generic Analog : Generic Analog : playback 1 : capture 1\n"
        "00-01: Digital : Digital : playback 1\n"
        "00-02: Mic : Mic : capture 1\n");
    EXPECT_EQ(CSystemInfo::CountPlaybackDevices(listing), 2u);
    std::istringstream empty;
    EXPECT_EQ(CSystemInfo::CountPlaybackDevices(empty), 0u);
}

TEST(CSystemInfo, TheHostOverridesTheSoundProbe) {
    CSystemInfo::SetSoundDeviceCountOverride(0);
    EXPECT_EQ(waveOutGetNumDevs(), 0u);
    CSystemInfo::SetSoundDeviceCountOverride(1);
    EXPECT_EQ(waveOutGetNumDevs(), 1u);
    CSystemInfo::SetSoundDeviceCountOverride(-1);
    std::ifstream listing("/proc/asound/pcm");
    const uint32_t probed = listing ? CSystemInfo::CountPlaybackDevices(listing) : 0;
    EXPECT_EQ(waveOutGetNumDevs(), probed);
}

TEST(CSystemInfo, PeakLuminanceIs1000UnlessTheHostSays) {
    EXPECT_EQ(CSystemInfo::DisplayPeakLuminance(), 1000u);
    CSystemInfo::SetDisplayPeakLuminance(600);
    EXPECT_EQ(CSystemInfo::DisplayPeakLuminance(), 600u);
    CSystemInfo::SetDisplayPeakLuminance(0);
    EXPECT_EQ(CSystemInfo::DisplayPeakLuminance(), 1000u);
}

TEST(CSystemInfo, PhysicalMemoryIsKnown) {
    EXPECT_GT(CSystemInfo::PhysicalMemoryBytes(), 64ull << 20);
}

}  // namespace
