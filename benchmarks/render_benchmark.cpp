// --render of Qel Gain over a ten-minute stereo 48 kHz file, at blocks of 64 and of 1024 frames,
// beside the same render of "Probe Idle", a plug-in whose process returns at once: the idle
// render is the host's own cost, and the difference is the time spent inside Qel Gain. Prints
// the multiple of real time of both and the share of the time inside the plug-in.
#include "app/commandline.h"
#include "app/renderjob.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

namespace
{

/** The "Speed" figure of a render, in multiples of real time; 0 when it failed. */
double renderSpeed(const std::string& className, const std::string& modules,
                   const std::string& input, const std::string& output, int blockSize,
                   const std::string& config)
{
    const std::string block = std::to_string(blockSize);
    std::vector<const char*> argv = {"render_benchmark", "--render",      "--class",
                                     className.c_str(),  modules.c_str(), "--input",
                                     input.c_str(),      "--seconds",     "600",
                                     "--block-size",     block.c_str(),   "--output",
                                     output.c_str(),     "--config-dir",  config.c_str()};
    Quillmark::CommandLine line = Quillmark::CommandLine::parse(int(argv.size()), argv.data());
    if (!line.error.empty())
    {
        std::cerr << line.error << "\n";
        return 0.0;
    }
    std::ostringstream out, err;
    if (Quillmark::runRenderJob(line, out, err) != 0)
    {
        std::cerr << err.str();
        return 0.0;
    }
    const std::string text = out.str();
    const size_t at = text.find("Speed\t");
    return at == std::string::npos ? 0.0 : std::atof(text.c_str() + at + 6);
}

} // namespace

int main()
{
    const std::filesystem::path folder =
        std::filesystem::temp_directory_path() / "qel-render-benchmark";
    std::filesystem::create_directories(folder);
    const std::string input = (folder / "ten-minutes.wav").string();
    const std::string output = (folder / "rendered.wav").string();
    const std::string config = (folder / "config").string();
    const std::string make =
        "sox -q -n -r 48000 -c 2 -b 32 -e float '" + input + "' synth 600 pinknoise vol 0.5";
    if (std::system(make.c_str()) != 0)
    {
        std::cerr << "render_benchmark: sox could not make the input file\n";
        return 1;
    }
    std::printf("Render of 600 s of stereo 48 kHz (the engine plays the file's first 240 s)\n");
    std::printf("%-6s %-12s %14s %14s %10s\n", "block", "plug-in", "real time x", "seconds",
                "in plug-in");
    for (int blockSize : {64, 1024})
    {
        const double gain =
            renderSpeed("Qel Gain", QEL_MODULE_DIR, input, output, blockSize, config);
        const double idle =
            renderSpeed("Probe Idle", QEL_FIXTURE_DIR, input, output, blockSize, config);
        if (gain <= 0.0 || idle <= 0.0)
            return 1;
        const double gainSeconds = 600.0 / gain, idleSeconds = 600.0 / idle;
        const double share = gainSeconds > idleSeconds ? 1.0 - idleSeconds / gainSeconds : 0.0;
        std::printf("%-6d %-12s %14.1f %14.3f %9.1f%%\n", blockSize, "Qel Gain", gain, gainSeconds,
                    share * 100.0);
        std::printf("%-6d %-12s %14.1f %14.3f %10s\n", blockSize, "Probe Idle", idle, idleSeconds,
                    "-");
    }
    std::filesystem::remove_all(folder);
    return 0;
}
