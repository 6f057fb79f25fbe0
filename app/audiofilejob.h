// The audio file modes: --audio-info prints what the file model knows about each file;
// --audio-convert writes a file in another sample format, rate or file type through an
// accessor. Neither ever writes to its input.
#pragma once

#include <iosfwd>

namespace Quillmark
{

struct CommandLine;
class AudioFile;

int runAudioInfoJob(const CommandLine& commandLine, std::ostream& out, std::ostream& err);
int runAudioConvertJob(const CommandLine& commandLine, std::ostream& out, std::ostream& err);

/** Prints the file's type, every attribute as key<TAB>value and one "Repair" line per repair. */
void printAudioFileInfo(AudioFile& file, std::ostream& out);

} // namespace Quillmark
