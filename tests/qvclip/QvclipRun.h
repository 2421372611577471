// Runs the built qvclip program (QVCLIP_PATH) with arguments and gives back its exit code, standard
// output and standard error, plus helpers for the synthesized clips the tests read.
#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "support/TestFiles.h"
#include "tools/qvclip/synth/Synthesizer.h"

namespace qvtest {

struct QvclipResult {
    int exitCode = -1;
    std::string out, err;

    // The standard output's lines, each parsed as JSON.
    std::vector<nlohmann::json> JsonLines() const {
        std::vector<nlohmann::json> lines;
        std::istringstream in(out);
        for (std::string line; std::getline(in, line);)
            lines.push_back(nlohmann::json::parse(line));
        return lines;
    }
};

inline std::string Text(const std::string& path) {
    const std::vector<uint8_t> bytes = ReadFile(path);
    return std::string(bytes.begin(), bytes.end());
}

// A run that has not ended by then is killed and answers kTimedOut: a hang fails the test
// instead of stopping the suite.
inline constexpr int kTimedOut = 124;

// `arguments` go through the shell as they stand. The run's runtime folder (its machine-wide
// worker locks) is the test's own, so that runs of other tests or programs at the same time do
// not wait on each other's locks.
inline QvclipResult RunQvclip(const TempDirectory& dir, const std::string& arguments) {
    const std::string out = dir.Native("qvclip.out"), err = dir.Native("qvclip.err");
    const int status =
        std::system(("XDG_RUNTIME_DIR='" + dir.root + "' timeout -k 5 120 " +
                     std::string(QVCLIP_PATH) + " " + arguments + " >'" + out + "' 2>'" + err + "'")
                        .c_str());
    QvclipResult result;
    result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    result.out = Text(out);
    result.err = Text(err);
    return result;
}

// `qvclip synth` of a 320x240 clip named `name` into `dir`, with the further `options`; its path.
inline std::string SynthClip(const TempDirectory& dir, const std::string& name,
                             const std::string& options) {
    const QvclipResult run = RunQvclip(
        dir, "synth --out '" + dir.root + "' --name " + name + " --size 320x240 " + options);
    EXPECT_EQ(run.exitCode, 0) << run.err;
    return dir.Native(name + ".MXF");
}

// The events of one kind ("frame", "timecode", "metadata", "level") in the event file `path`.
inline std::vector<nlohmann::json> Events(const std::string& path, const std::string& kind) {
    std::vector<nlohmann::json> events;
    std::ifstream in(path);
    for (std::string line; std::getline(in, line);) {
        nlohmann::json event = nlohmann::json::parse(line);
        if (event["event"] == kind) events.push_back(std::move(event));
    }
    return events;
}

// A small clip: 320x240 H.264, two sound channels, `frames` frames, named `name`.
inline synth::SynthResult SmallClip(const TempDirectory& dir, const std::string& name,
                                    uint32_t frames = 6) {
    synth::SynthOptions options;
    options.outDir = dir.root;
    options.name = name;
    options.frames = frames;
    options.width = 320;
    options.height = 240;
    options.gop = 4;
    return synth::Synthesize(options);
}

}  // namespace qvtest
