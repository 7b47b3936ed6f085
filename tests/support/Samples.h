// Reads the public sample files. For tests that are built only where the samples lie.
#pragma once

#include <support/ExactBytes.h>

#include <nlohmann/json.hpp>

#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

namespace test {

inline std::ifstream openSample(const std::string& path) {
    std::ifstream file(std::string(HAS_SAMPLES_DIR "/") + path, std::ios::binary);
    if (!file)
        throw std::runtime_error("no sample " + path);
    return file;
}

inline ExactBytes sample(const std::string& path) {
    std::ifstream file = openSample(path);
    const std::string bytes((std::istreambuf_iterator<char>(file)),
                            std::istreambuf_iterator<char>());
    return ExactBytes(bytes);
}

inline nlohmann::json sampleJson(const std::string& path) {
    std::ifstream file = openSample(path);
    return nlohmann::json::parse(file);
}

} // namespace test
