// Independent tools as test oracles: ffprobe, ffmpeg and mediainfo run as child processes on files
// the test made. RequireOracles skips the test when a tool is missing, or fails it when
// QV_REQUIRE_ORACLES=1 (as CI sets it).
#pragma once

#include <gtest/gtest.h>
#include <stdio.h>

#include <cstdlib>
#include <initializer_list>
#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace qvtest {

// Call from SetUp: GTEST_SKIP and FAIL end the test from there.
inline void RequireOracles(std::initializer_list<const char*> tools) {
    for (const char* tool : tools) {
        if (std::system((std::string("command -v ") + tool + " >/dev/null 2>&1").c_str()) == 0)
            continue;
        const char* require = std::getenv("QV_REQUIRE_ORACLES");
        if (require && std::string(require) == "1") FAIL() << tool << " is missing";
        GTEST_SKIP() << tool << " is missing";
    }
}

// Standard output of a shell command, which must succeed.
inline std::string Output(const std::string& command) {
    std::string output;
    FILE* pipe = popen(command.c_str(), "r");
    if (!pipe) return output;
    char buffer[4096];
    for (size_t n; (n = fread(buffer, 1, sizeof buffer, pipe)) > 0;) output.append(buffer, n);
    EXPECT_EQ(pclose(pipe), 0) << command;
    return output;
}

// The hash column of ffmpeg's framemd5 output for one stream ("v", "a:0"), packet by packet; with
// `pixelFormat` ("yuyv422") the pictures decoded and converted to it instead, with the further
// ffmpeg `options` ("-sws_flags ...", "-vf ...").
inline std::vector<std::string> FrameMD5s(const std::string& path, const std::string& stream,
                                          const std::string& pixelFormat = "",
                                          const std::string& options = "") {
    const std::string how =
        pixelFormat.empty() ? " -c copy" : " " + options + " -pix_fmt " + pixelFormat;
    std::istringstream lines(
        Output("ffmpeg -v error -i '" + path + "' -map 0:" + stream + how + " -f framemd5 -"));
    std::vector<std::string> digests;
    for (std::string line; std::getline(lines, line);) {
        if (line.empty() || line[0] == '#') continue;
        std::istringstream columns(line);
        std::string column;
        for (int n = 0; n < 6; ++n) std::getline(columns, column, ',');
        digests.push_back(column.substr(column.find_first_not_of(' ')));
    }
    return digests;
}

// ffprobe's "flat" output of the stream fields asked for: streams.stream.N.key=value, unquoted.
inline std::map<std::string, std::string> Probe(const std::string& path) {
    std::istringstream lines(Output(
        "ffprobe -v error -show_entries stream=codec_type,codec_name,width,height,r_frame_rate,"
        "channels,sample_rate,bits_per_sample,duration -of flat '" +
        path + "'"));
    std::map<std::string, std::string> fields;
    for (std::string line; std::getline(lines, line);) {
        const size_t equals = line.find('=');
        if (equals == std::string::npos) continue;
        std::string value = line.substr(equals + 1);
        if (value.size() >= 2 && value.front() == '"') value = value.substr(1, value.size() - 2);
        fields[line.substr(0, equals)] = value;
    }
    return fields;
}

}  // namespace qvtest
