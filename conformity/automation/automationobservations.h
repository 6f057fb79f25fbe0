// For the tests of the automation group: what the plug-ins of fx_automation_faults.so say they
// were given, read from the file they append to, one entry per activation (so one per test) with
// its process calls. Used by the tests only.
#pragma once

#include "qel3/qeltypes.h"

#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

namespace Quillmark::testing
{

struct ObservedPoint
{
    int32 index = -1;
    int32 offset = -1;
    double value = -1.0;
};

struct ObservedQueue
{
    bool present = false;
    uint32 id = 0;
    int32 count = 0;
    std::vector<ObservedPoint> points; // the points the plug-in read, in the order it read them
    std::vector<int32> refused;        // indices of in-range reads the host refused
};

struct ObservedBlock
{
    int32 numSamples = -1;
    int32 parameterCount = -1; // -1: no IParameterChanges given
    std::vector<ObservedQueue> queues;
    std::vector<std::string> probes; // the "probe" lines, without the word
};

/** The blocks between one activation and the next. */
struct ObservedTest
{
    std::vector<ObservedBlock> blocks;
};

inline std::vector<ObservedTest> parseObservations(const std::string& text)
{
    std::vector<ObservedTest> tests;
    std::istringstream lines(text);
    std::string line;
    while (std::getline(lines, line))
    {
        std::istringstream words(line);
        std::string kind;
        words >> kind;
        if (kind == "activate")
        {
            tests.emplace_back();
            continue;
        }
        if (tests.empty())
            tests.emplace_back(); // a block before any activation shows as a test of its own
        std::vector<ObservedBlock>& blocks = tests.back().blocks;
        if (kind == "process")
        {
            ObservedBlock block;
            words >> block.numSamples >> block.parameterCount;
            blocks.push_back(block);
            continue;
        }
        if (blocks.empty())
            continue;
        ObservedBlock& block = blocks.back();
        if (kind == "probe")
        {
            std::string rest;
            std::getline(words >> std::ws, rest);
            block.probes.push_back(rest);
            continue;
        }
        int32 queueIndex = -1;
        words >> queueIndex;
        if (queueIndex < 0)
            continue;
        if (block.queues.size() <= size_t(queueIndex))
            block.queues.resize(size_t(queueIndex) + 1);
        ObservedQueue& queue = block.queues[size_t(queueIndex)];
        if (kind == "queue")
        {
            std::string id;
            words >> id;
            if (id == "null")
                continue;
            queue.present = true;
            queue.id = uint32(std::strtoul(id.c_str(), nullptr, 10));
            words >> queue.count;
        }
        else if (kind == "point")
        {
            ObservedPoint point;
            std::string value;
            words >> point.index >> point.offset >> value;
            point.value = std::strtod(value.c_str(), nullptr); // hexadecimal, exact
            queue.points.push_back(point);
        }
        else if (kind == "unread")
        {
            int32 index = -1;
            words >> index;
            queue.refused.push_back(index);
        }
    }
    return tests;
}

} // namespace Quillmark::testing
