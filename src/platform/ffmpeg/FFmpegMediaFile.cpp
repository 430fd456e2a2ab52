#include "platform/ffmpeg/FFmpegMediaFile.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <string_view>
#include <utility>

#include "platform/ffmpeg/FFmpegAudioReader.h"
#include "platform/ffmpeg/FFmpegError.h"

extern "C" {
#include <libavutil/dict.h>
}

namespace tallyrig {
namespace {

// How much of a file that has no index is read to learn what its sound is.
constexpr std::int64_t kProbeBytes = 1 << 20;
constexpr std::int64_t kProbeMicroseconds = 1'000'000;

// What demuxers say of how the file is built: the brands of an MP4, and the fixed fields of a broadcast WAV.
constexpr std::array<std::string_view, 10> kNoMetadata{
    "major_brand", "minor_version",    "compatible_brands", "creation_time",  "handler_name",
    "vendor_id",   "origination_date", "origination_time",  "time_reference", "umid"};

bool isQuickTime(const AVFormatContext& context) {
  return std::string_view(context.iformat->name).starts_with("mov,");
}

bool isExact(const AVStream& stream) {
  return av_get_exact_bits_per_sample(stream.codecpar->codec_id) > 0;
}

bool isComplete(const AVStream& stream) {
  return stream.codecpar->sample_rate > 0 && stream.codecpar->ch_layout.nb_channels > 0;
}

/// The time at which the file begins, on the time line of one of its streams.
FFmpegSpan spanOf(const AVFormatContext& context, const AVStream& stream) {
  if (!isQuickTime(context)) {
    const bool alone = context.nb_streams == 1 || context.start_time == AV_NOPTS_VALUE;
    const std::int64_t start =
        alone ? stream.start_time : av_rescale_q(context.start_time, AV_TIME_BASE_Q, stream.time_base);
    return {.origin = start == AV_NOPTS_VALUE ? 0 : start};
  }
  // A movie's time line begins at 0. The sound that an encoder has put behind the end lies behind the track's duration.
  FFmpegSpan span;
  if (!isExact(stream) && stream.duration > 0) {
    span.end =
        stream.duration + (stream.start_time == AV_NOPTS_VALUE ? 0 : std::max<std::int64_t>(stream.start_time, 0));
  }
  return span;
}

double durationSeconds(const AVFormatContext& context) {
  if (context.duration != AV_NOPTS_VALUE && context.duration >= 0) {
    return static_cast<double>(context.duration) / AV_TIME_BASE;
  }
  double longest = std::numeric_limits<double>::quiet_NaN();
  for (unsigned index = 0; index < context.nb_streams; ++index) {
    const AVStream& stream = *context.streams[index];
    if (stream.duration == AV_NOPTS_VALUE || stream.duration < 0) continue;
    longest = std::fmax(longest, static_cast<double>(stream.duration) * av_q2d(stream.time_base));
  }
  return longest;
}

double nominalFrameRate(const AVStream& stream) {
  // FFmpeg's average counts pictures over what they last in all; the duration of a stream is what its edits leave.
  const AVRational rate = stream.avg_frame_rate;
  if (rate.num > 0 && rate.den > 0) return av_q2d(rate);
  const double seconds = static_cast<double>(stream.duration) * av_q2d(stream.time_base);
  return stream.nb_frames > 0 && stream.duration > 0 && seconds > 0 ? static_cast<double>(stream.nb_frames) / seconds
                                                                    : 0;
}

bool isPicture(const AVStream& stream) {
  constexpr int kStill = AV_DISPOSITION_ATTACHED_PIC | AV_DISPOSITION_TIMED_THUMBNAILS;
  return stream.codecpar->codec_type == AVMEDIA_TYPE_VIDEO && (stream.disposition & kStill) == 0;
}

}  // namespace

std::error_code FFmpegMediaFile::open() {
  if (const auto error = input_.open(context_)) return error;
  for (unsigned index = 0; index < context_->nb_streams; ++index) {
    if (context_->streams[index]->codecpar->codec_type == AVMEDIA_TYPE_AUDIO) {
      audioStreams_.push_back(static_cast<int>(index));
    }
  }
  if (const auto error = learnFormats()) return error;
  input_.endOpening();
  describe();
  return {};
}

/// A movie's header tells what its sound is, but for some kinds of AAC, whose first packet has the last word. Of other
/// containers, the beginning is read.
std::error_code FFmpegMediaFile::learnFormats() {
  if (!isQuickTime(*context_)) {
    context_->probesize = kProbeBytes;
    context_->max_analyze_duration = kProbeMicroseconds;
    const int status = avformat_find_stream_info(context_.get(), nullptr);
    return status < 0 ? ffmpegError(status) : std::error_code{};
  }
  for (const int index : audioStreams_) {
    AVStream& stream = *context_->streams[index];
    if (isExact(stream) && isComplete(stream)) continue;
    std::unique_ptr<FFmpegAudioReader> reader;
    // A track that does not decode is still a track.
    if (FFmpegAudioReader::open(input_, *context_, index, spanOf(*context_, stream), reader)) continue;
    stream.codecpar->sample_rate = static_cast<int>(reader->format().sampleRate);
    if (stream.codecpar->ch_layout.nb_channels == reader->format().channelCount) continue;
    av_channel_layout_uninit(&stream.codecpar->ch_layout);
    stream.codecpar->ch_layout.order = AV_CHANNEL_ORDER_UNSPEC;
    stream.codecpar->ch_layout.nb_channels = reader->format().channelCount;
  }
  return {};
}

void FFmpegMediaFile::describe() {
  description_.durationSeconds = durationSeconds(*context_);
  for (const int index : audioStreams_) {
    const AVStream& stream = *context_->streams[index];
    auto& track = description_.audioTracks.emplace_back();
    if (!isComplete(stream)) continue;
    track.format = {static_cast<double>(stream.codecpar->sample_rate), stream.codecpar->ch_layout.nb_channels};
  }
  for (unsigned index = 0; index < context_->nb_streams; ++index) {
    const AVStream& stream = *context_->streams[index];
    if (isPicture(stream)) description_.videoTracks.push_back({nominalFrameRate(stream)});
  }
  const AVDictionaryEntry* entry = nullptr;
  while ((entry = av_dict_get(context_->metadata, "", entry, AV_DICT_IGNORE_SUFFIX)) != nullptr) {
    if (std::ranges::find(kNoMetadata, std::string_view(entry->key)) != kNoMetadata.end()) continue;
    description_.metadata.push_back({entry->key, entry->value});
  }
}

std::error_code FFmpegMediaFile::openAudio(std::size_t track, std::unique_ptr<AudioReader>& reader) {
  if (track >= audioStreams_.size()) return std::make_error_code(std::errc::invalid_argument);
  const int index = audioStreams_[track];
  std::unique_ptr<FFmpegAudioReader> opened;
  const FFmpegSpan span = spanOf(*context_, *context_->streams[index]);
  if (const auto error = FFmpegAudioReader::open(input_, *context_, index, span, opened)) return error;
  reader = std::move(opened);
  return {};
}

std::int64_t FFmpegMediaFile::frameCount(std::size_t track) {
  if (track >= audioStreams_.size()) return 0;
  const AVStream& stream = *context_->streams[audioStreams_[track]];
  if (stream.codecpar->sample_rate <= 0) return 0;
  if (context_->duration_estimation_method == AVFMT_DURATION_FROM_BITRATE) return countedFrames(stream);
  const AVRational sampleBase{1, stream.codecpar->sample_rate};
  if (stream.duration > 0) return av_rescale_q(stream.duration, stream.time_base, sampleBase);
  return context_->duration > 0 ? av_rescale_q(context_->duration, AV_TIME_BASE_Q, sampleBase) : 0;
}

std::int64_t FFmpegMediaFile::countedFrames(const AVStream& stream) {
  const FFmpegSpan span = spanOf(*context_, stream);
  FFmpegHandle<AVPacket> packet(av_packet_alloc());
  if (!packet || av_seek_frame(context_.get(), stream.index, span.origin, AVSEEK_FLAG_BACKWARD) < 0) return 0;
  std::int64_t end = span.origin;
  while (av_read_frame(context_.get(), packet.get()) >= 0) {
    if (packet->stream_index == stream.index && packet->pts != AV_NOPTS_VALUE) {
      end = std::max(end, packet->pts + packet->duration);
    }
    av_packet_unref(packet.get());
  }
  return av_rescale_q(end - span.origin, stream.time_base, {1, stream.codecpar->sample_rate});
}

}  // namespace tallyrig
