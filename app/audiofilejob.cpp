#include "app/audiofilejob.h"

#include "app/commandline.h"
#include "audiofile/audioaccessor.h"
#include "audiofile/audiofile.h"
#include "audiofile/audiofilekeys.h"
#include "audiofile/audiofiletypes.h"
#include "base/optimaudio/audiokernels.h"
#include "base/owned.h"
#include "base/platform/files.h"

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <ostream>
#include <vector>

namespace Quillmark
{

namespace
{

std::string escaped(const std::string& text)
{
    std::string result;
    for (char c : text)
    {
        if (c == '\t')
            result += "\\t";
        else if (c == '\n')
            result += "\\n";
        else if (c == '\r')
            result += "\\r";
        else if (c == '\\')
            result += "\\\\";
        else
            result += c;
    }
    return result;
}

std::string number(double value)
{
    char text[40];
    std::snprintf(text, sizeof(text), "%.10g", value);
    return text;
}

void printTree(const FAttributes& tree, const std::string& prefix, std::ostream& out)
{
    for (int32 i = 0; i < tree.count(); ++i)
    {
        const std::string key = prefix + tree.nameAt(i);
        const char* name = tree.nameAt(i);
        switch (tree.typeAt(i))
        {
        case FAttrType::kInt:
        {
            int64 value = 0;
            tree.getIntAt(i, value);
            out << key << '\t' << value << '\n';
            break;
        }
        case FAttrType::kFloat:
        {
            double value = 0;
            tree.getFloat(name, value);
            out << key << '\t' << number(value) << '\n';
            break;
        }
        case FAttrType::kString:
        {
            String value;
            tree.getString(name, value);
            out << key << '\t' << escaped(value.toUtf8()) << '\n';
            break;
        }
        case FAttrType::kList:
            if (FAttrList* list = tree.getList(name))
                printTree(*list, key + ".", out);
            break;
        case FAttrType::kSubList:
            if (FSubList* list = tree.getSubList(name))
                for (int32 n = 0; n < list->count(); ++n)
                    printTree(*list->at(n), key + "[" + std::to_string(n) + "].", out);
            break;
        case FAttrType::kBuffer:
            if (FAttrBuffer* buffer = tree.getBuffer(name))
                out << key << '\t' << buffer->size() << " bytes\n";
            break;
        default:
            out << key << "\t(object)\n";
            break;
        }
    }
}

/** A reason in words for a file that cannot be read. */
std::string whyUnreadable(AudioFile& file)
{
    switch (file.getFileStatus())
    {
    case AudioFile::kStatusMissing:
        return "the file does not exist";
    case AudioFile::kStatusNoHandler:
        return "not an audio file of a known type";
    case AudioFile::kStatusUnreadable:
        return "the header is damaged or the format is not supported";
    case AudioFile::kStatusHandlerRefused:
        return "the format handler refused the file";
    default:
        return {};
    }
}

AudioFile* openForReading(const std::string& path)
{
    auto* file = new AudioFile;
    file->setRepairOnRead(false); // looking at a file never changes it
    file->setPath(path);
    return file;
}

} // namespace

void printAudioFileInfo(AudioFile& file, std::ostream& out)
{
    file.ensureHeader();
    printTree(file.getAttributes(), "", out);
    for (const auto& [start, end] : file.getMarkerPairs())
        out << "Loop\t" << start << ' ' << end << '\n';
    for (const std::string& repair : file.getRepairs())
        out << "Repair\t" << escaped(repair) << '\n';
}

int runAudioInfoJob(const CommandLine& commandLine, std::ostream& out, std::ostream& err)
{
    if (commandLine.folders.empty())
    {
        err << "Qel3PluginTestHost: --audio-info needs at least one file\n";
        return kExitUsage;
    }
    installAudioKernels();
    int status = kExitOk;
    bool first = true;
    for (const std::string& path : commandLine.folders)
    {
        Owned<AudioFile> file(openForReading(path));
        std::string problem = whyUnreadable(*file);
        if (!problem.empty())
        {
            err << "Qel3PluginTestHost: " << path << ": " << problem << "\n";
            status = kExitFailure;
            continue;
        }
        if (!first)
            out << '\n';
        first = false;
        out << "File\t" << escaped(path) << '\n';
        printAudioFileInfo(*file, out);
    }
    return status;
}

int runAudioConvertJob(const CommandLine& commandLine, std::ostream& out, std::ostream& err)
{
    if (commandLine.folders.size() != 2)
    {
        err << "Qel3PluginTestHost: --audio-convert needs an input and an output file\n";
        return kExitUsage;
    }
    const std::string& inPath = commandLine.folders[0];
    const std::string& outPath = commandLine.folders[1];
    if (platform::fileInfo(inPath).exists && platform::fileInfo(outPath).exists &&
        platform::resolveLink(inPath) == platform::resolveLink(outPath))
    {
        err << "Qel3PluginTestHost: the output would overwrite the input: " << outPath << "\n";
        return kExitUsage;
    }
    installAudioKernels();
    Owned<AudioFile> input(openForReading(inPath));
    std::string problem = whyUnreadable(*input);
    if (!problem.empty())
    {
        err << "Qel3PluginTestHost: " << inPath << ": " << problem << "\n";
        return kExitFailure;
    }

    if (input->hasState(AudioFile::kCodecData))
    {
        int64 tag = 0;
        if (FAttrList* codec = input->getAttributes().getList(AudioKeys::kCodecAttributes))
            codec->getInt("FormatTag", tag);
        char text[16];
        std::snprintf(text, sizeof(text), "0x%04X", unsigned(tag));
        err << "Qel3PluginTestHost: " << inPath << ": the audio is compressed (format tag " << text
            << "), which is kept but not decoded\n";
        return kExitFailure;
    }

    // The target format: the input's own unless an option says otherwise.
    int32 sampleFormat = input->getSampleFormat();
    int32 sampleSize = input->getSampleSize();
    double rate = input->getSampleRate();
    std::string typeName;
    for (const auto& [option, value] : commandLine.audioOptions)
    {
        char* end = nullptr;
        if (option == "--sample-format")
        {
            if (value == "int")
                sampleFormat = AudioConverter::kSigned;
            else if (value == "float")
                sampleFormat = AudioConverter::kFloat;
            else
            {
                err << "Qel3PluginTestHost: --sample-format is int or float, not: " << value
                    << "\n";
                return kExitUsage;
            }
        }
        else if (option == "--sample-size")
        {
            long bits = std::strtol(value.c_str(), &end, 10);
            if (value.empty() || *end || (bits != 8 && bits != 16 && bits != 24 && bits != 32))
            {
                err << "Qel3PluginTestHost: --sample-size is 8, 16, 24 or 32, not: " << value
                    << "\n";
                return kExitUsage;
            }
            sampleSize = int32(bits);
        }
        else if (option == "--sample-rate")
        {
            double hz = std::strtod(value.c_str(), &end);
            if (value.empty() || *end || !(hz >= 1000 && hz <= 768000))
            {
                err << "Qel3PluginTestHost: --sample-rate is a rate in Hz from 1000 to 768000, "
                       "not: "
                    << value << "\n";
                return kExitUsage;
            }
            rate = hz;
        }
        else if (option == "--file-type")
            typeName = value;
    }
    bool formatGiven = false, sizeGiven = false;
    for (const auto& option : commandLine.audioOptions)
    {
        formatGiven = formatGiven || option.first == "--sample-format";
        sizeGiven = sizeGiven || option.first == "--sample-size";
    }
    // A size alone asks for integers unless it is 32 and the input is float already.
    if (sizeGiven && !formatGiven && sampleSize != 32)
        sampleFormat = AudioConverter::kSigned;
    if (sampleFormat == AudioConverter::kFloat)
        sampleSize = 32;
    else if (sampleSize == 8)
        sampleFormat = AudioConverter::kUnsigned; // 8-bit Wave samples are unsigned
    else if (sampleFormat != AudioConverter::kSigned)
        sampleFormat = AudioConverter::kSigned;

    AudioFileTypes& types = AudioFileTypes::instance();
    std::string target = outPath;
    if (!typeName.empty())
    {
        const AudioFileType* type = types.typeNamed(typeName);
        if (!type)
        {
            err << "Qel3PluginTestHost: unknown file type: " << typeName << "\n";
            return kExitUsage;
        }
        if (platform::extensionOf(target) != type->extension)
            target += "." + type->extension;
    }
    Owned<AudioFile> output(new AudioFile);
    output->setPath(target);
    if (!output->getHandler() || output->isReadOnly())
    {
        err << "Qel3PluginTestHost: " << outPath << ": no writable file type for this name\n";
        return kExitUsage;
    }
    output->setDefaultAttributes();
    output->getHandler()->copyAttributes(input->getAttributes());
    ASpeakerArrangement arrangement;
    input->getSpeakerArrangement(arrangement);
    output->setChannelCount(input->getChannelCount());
    output->setSpeakerArrangement(arrangement);
    output->getAttributes().setInt(AudioKeys::kByteOrder, 0);
    output->getAttributes().setInt(AudioKeys::kFrameFormat, 0);
    output->setSampleFormat(sampleFormat);
    output->setSampleSize(sampleSize);
    output->setSampleRate(rate);
    output->getAttributes().setInt(AudioKeys::kFrameSize,
                                   input->getChannelCount() * ((sampleSize + 7) / 8));
    output->getHandler()->onFormatChanged();

    std::unique_ptr<AudioAccessStream> outStream(output->createFile(kAudioModeReadWrite));
    if (!outStream)
    {
        err << "Qel3PluginTestHost: " << target << ": cannot create the file\n";
        return kExitFailure;
    }
    Owned<AudioAccessor> reader(input->createAccessor(kAudioModeRead));
    if (!reader)
    {
        err << "Qel3PluginTestHost: " << inPath << ": cannot read the samples\n";
        std::remove(target.c_str());
        return kExitFailure;
    }
    const int32 channels = input->getChannelCount();
    reader->setSampleFormat(AudioConverter::kFloat);
    reader->setSampleSize(32);
    Owned<AudioAccessor> writer(new AudioAccessor(*output, outStream.release()));
    writer->setSampleRate(input->getSampleRate());
    writer->setSampleFormat(AudioConverter::kFloat);
    writer->setSampleSize(32);

    constexpr int64 kBlock = 8192;
    std::vector<float> block(size_t(kBlock * channels));
    int64 frames = 0;
    bool failed = false;
    for (;;)
    {
        int64 got = reader->read(kBlock, block.data());
        if (got < 0)
        {
            err << "Qel3PluginTestHost: " << inPath << ": reading failed after " << frames
                << " frames\n";
            failed = true;
            break;
        }
        if (got == 0)
            break;
        if (writer->write(got, block.data()) < 0)
        {
            err << "Qel3PluginTestHost: " << target << ": writing failed\n";
            failed = true;
            break;
        }
        frames += got;
    }
    if (!failed && writer->needsConversion())
        writer->write(0, nullptr, true); // the rest of the rate converter's history
    writer->close();
    if (failed)
    {
        std::remove(target.c_str());
        return kExitFailure;
    }
    float peak = writer->getConverter() ? writer->getConverter()->getPeak() : 0.f;
    out << "Wrote\t" << target << '\n';
    out << "FileType\t" << output->getFileTypeName() << '\n';
    out << "MediaFrameCount\t" << output->getFrameCount() << '\n';
    if (peak > 1.f)
        err << "Qel3PluginTestHost: warning: samples clipped (peak " << number(peak) << ")\n";
    return kExitOk;
}

} // namespace Quillmark
