#include <gtest/gtest.h>

#include <sstream>

#include "platform/SystemInfo.h"

namespace {

TEST(CSystemInfo, SoundDevicesAreProbedOrSetByTheHost) {
    std::istringstream listing(
        "00-00: Generic Analog : Generic Analog : playback 1 : capture 1\n"
        "00-01: Digital : Digital : playback 1\n"
        "00-02: Mic : Mic : capture 1\n");
    EXPECT_EQ(CSystemInfo::CountPlaybackDevices(listing), 2u);
    CSystemInfo::SetSoundDeviceCountOverride(0);
    EXPECT_EQ(waveOutGetNumDevs(), 0u);
    CSystemInfo::SetSoundDeviceCountOverride(1);
    EXPECT_EQ(waveOutGetNumDevs(), 1u);
}

TEST(CSystemInfo, HostValuesAndWhatTheSystemSays) {
    EXPECT_EQ(CSystemInfo::DisplayPeakLuminance(), 1000u);
    CSystemInfo::SetDisplayPeakLuminance(600);
    EXPECT_EQ(CSystemInfo::DisplayPeakLuminance(), 600u);
    CSystemInfo::SetDisplayPeakLuminance(0);  // a display that says 0 keeps 1000
    EXPECT_EQ(CSystemInfo::DisplayPeakLuminance(), 1000u);
    EXPECT_NE(CSystemInfo::ModulePath().find("/platform_SystemInfoTest"), std::string::npos);
    EXPECT_GT(CSystemInfo::PhysicalMemoryBytes(), 64ull << 20);
}

}  // namespace
