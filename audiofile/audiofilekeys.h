// The names under which everything known about an audio file lives in its attribute tree, so
// that formats, the engine and the user interface share one vocabulary.
#pragma once

namespace Quillmark::AudioKeys
{

/** Channel counts above this get no speaker list from a file's header. */
inline constexpr int kMaxSpeakerChannels = 256;

inline constexpr const char* kMediaType = "MediaType";
inline constexpr const char* kFilePath = "FilePath";
inline constexpr const char* kFileName = "FileName";
inline constexpr const char* kArchivePath = "archivePath";
inline constexpr const char* kFileType = "FileType";
inline constexpr const char* kByteOrder = "AudioByteOrder";
inline constexpr const char* kFrameCount = "MediaFrameCount";
inline constexpr const char* kSampleRate = "AudioSampleRate";
inline constexpr const char* kFrameFormat = "AudioFrameFormat";
inline constexpr const char* kFrameSize = "AudioFrameSize";
inline constexpr const char* kSampleFormat = "AudioSampleFormat";
inline constexpr const char* kSampleSize = "AudioSampleSize";
inline constexpr const char* kChannels = "AudioChannels";
inline constexpr const char* kChannelList = "AudioChannelList";
inline constexpr const char* kChannelType = "ChannelType";
inline constexpr const char* kBitRate = "AudioBitRate";
inline constexpr const char* kDuration = "MediaDuration";
inline constexpr const char* kOriginTime = "AudioOriginTime";
inline constexpr const char* kOriginTimeSamples = "TempAttrOriginTimeSamples";
inline constexpr const char* kMUID = "AudioMUID";
inline constexpr const char* kInfo = "AudioInfo";
inline constexpr const char* kChunkRemoveAll = "ChunkRemoveAll";
inline constexpr const char* kChunkBroadcast = "ChunkBroadast"; // spelled so in stored trees
inline constexpr const char* kChunkIXML = "ChunkIXML";
inline constexpr const char* kChunkREX = "ChunkREX";
inline constexpr const char* kHitpointList = "AudioHitpointList";
inline constexpr const char* kREXSliceList = "AudioREXSliceList";
inline constexpr const char* kMarkerStart = "AudioMarkerStart";
inline constexpr const char* kMarkerEnd = "AudioMarkerEnd";
inline constexpr const char* kMarkerWeight = "AudioMarkerWeight";
inline constexpr const char* kMarkerRefTime = "AudioMarkerRefTime";
inline constexpr const char* kTempo = "MusicalTempo";
inline constexpr const char* kSignature = "MusicalSignature";
inline constexpr const char* kBeats = "MusicalBeats";
inline constexpr const char* kRootKey = "MusicalRootKey";
inline constexpr const char* kPPQBase = "MusicalPPQBase";
inline constexpr const char* kTempoSync = "TempoSync";
inline constexpr const char* kCodecAttributes = "Codec Attributes";
inline constexpr const char* kNoWaveExtensible = "NoWaveExtensibleFormat";
inline constexpr const char* kNoWaveRF64Lower = "noWaveRF64Format";
inline constexpr const char* kNoWaveRF64 = "NoWaveRF64Format";
inline constexpr const char* kRF64FileFormat = "AudioRF64FileFormat";
inline constexpr const char* kWAVForceAlignment = "AudioWAVForceAlignment";
inline constexpr const char* kBWFDescription = "AudioBWFDescription";
inline constexpr const char* kAuthor = "MediaAuthor";
inline constexpr const char* kBWFOrigRef = "AudioBWFOrigRef";
inline constexpr const char* kRecordDate = "AudioRecordDate";
inline constexpr const char* kBWFCodingHistory = "AudioBWFCodingHistory";
inline constexpr const char* kBWFLoudnessValue = "AudioBWFLoudnessValue";
inline constexpr const char* kBWFLoudnessRange = "AudioBWFLoudnessRange";
inline constexpr const char* kBWFMaxTruePeak = "AudioBWFMaxTruePeakLevel";
inline constexpr const char* kBWFMaxMomentary = "AudioBWFMaxMomentaryLoudness";
inline constexpr const char* kBWFMaxShortTerm = "AudioBWFMaxShortTermLoudness";
inline constexpr const char* kNotes = "AudioNotes";
inline constexpr const char* kProjectName = "MediaProjectName";

} // namespace Quillmark::AudioKeys
