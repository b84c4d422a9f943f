#include "shared_nqserver/nqmessagekinds.h"

#include <array>
#include <span>

namespace qvs {

namespace {

struct NamedKind {
  MessageKind kind;
  std::string_view name;
};

// The blank at the end of two names is part of them.
constexpr NamedKind kKindNames[] = {
    {MessageKind::kUserControl, "kMsgUserCtrl"},
    {MessageKind::kVirtualUserControl, "kMsgVirtualUserControl"},
    {MessageKind::kAudio, "kMsgAudio"},
    {MessageKind::kVideo, "kMsgVideo"},
    {MessageKind::kDataEx, "kMsgDataEx "},
    {MessageKind::kContainerEx, "kMsgContainerEx"},
    {MessageKind::kCommandEx, "kMsgCmdEx"},
    {MessageKind::kData, "kMsgData"},
    {MessageKind::kContainer, "kMsgContainer "},
    {MessageKind::kCommand, "kMsgCmd"},
    {MessageKind::kUdp, "kMsgUDP"},
    {MessageKind::kAggregate, "kMsgAggregate"},
    {MessageKind::kPresent, "kMsgPresent"},
};

constexpr std::array<std::string_view, 42> kControlNames = {
    "kMsgStreamBegin",
    "kMsgStreamEOF",
    "kMsgStreamDry",
    "kMsgSetBufferLen",
    "kMsgStreamIsRecorded",
    "kMsgStreamIsLive",
    "kMsgPingRequest",
    "kMsgPingResponse",
    "kMsgUDPRequest",
    "kMsgUDPResponse",
    "kMsgSetBWLimit",
    "kMsgSetBW",
    "kMsgThrottleBW",
    "kMsgStreamCreated",
    "kMsgStreamDeleted",
    "kMsgSetReadAccess",
    "kMsgSetWriteAccess",
    "kMsgStreamMetaRequest",
    "kMsgStreamMetaUpdate",
    "kMsgGetSegmentBoundary",
    "kMsgSetSegmentBoundary",
    "kMsgOnDisconnect",
    "kMsgSetCriticalLink",
    "kMsgDisconnect",
    "kMsgHashUpdate",
    "kMsgHashTimeout",
    "kMsgPlqHashReq",
    "kMsgPlqHashResp",
    "kMsgCheckBW",
    "kMsgSetAudioSampleAccess",
    "kMsgSetVideoSampleAccess",
    "kMsgThrottleBegin",
    "kMsgThrottleEnd",
    "kMsgDRMNotify",
    "kMsgRtmfpSync",
    "kMsgQueryIHello",
    "kMsgForwardIHello",
    "kMsgRedirectIHello",
    "kMsgNotifyEOF",
    "kMsgProxyContinue",
    "kMsgProxyRemovedUpstream",
    "kMsgRtmfpSetKeepalives",
};

/// By the high nibble, shifted right by 4.
constexpr std::array<std::string_view, 12> kAudioCodecNames = {
    "kSndCompressNone",    "kSndCompressADPCM",  "kSndCompressMP3",   "kSndCompressNoneI",
    "kSndCompressNelly16", "kSndCompressNelly8", "kSndCompressNelly", "kSndCompressG711A",
    "kSndCompressG711U",   "kSndCompressUnused", "kSndCompressAAC",   "kSndCompressSpeex",
};

constexpr std::array<std::string_view, 16> kAudioFormatNames = {
    "kSnd5K8Mono",   "kSnd5K8Stereo",   "kSnd5K16Mono",  "kSnd5K16Stereo",  "kSnd11K8Mono",  "kSnd11K8Stereo",
    "kSnd11K16Mono", "kSnd11K16Stereo", "kSnd22K8Mono",  "kSnd22K8Stereo",  "kSnd22K16Mono", "kSnd22K16Stereo",
    "kSnd44K8Mono",  "kSnd44K8Stereo",  "kSnd44K16Mono", "kSnd44K16Stereo",
};

constexpr std::array<std::string_view, 8> kVideoCodecNames = {
    "kVideoCodecUnused", "kVideoCodecJPEG",     "kVideoCodecSorenson",   "kVideoCodecHomebrew",
    "kVideoCodecVP6",    "kVideoCodecVP6Alpha", "kVideoCodecHomebrewV2", "kVideoCodecH264",
};

std::string_view nameAt(std::span<const std::string_view> names, std::size_t index) {
  return index < names.size() ? names[index] : std::string_view();
}

}  // namespace

std::string_view kindName(std::uint32_t kind) {
  for (const auto& named : kKindNames)
    if (static_cast<std::uint32_t>(named.kind) == kind) return named.name;
  return {};
}

std::string_view controlName(std::uint32_t subtype) {
  return nameAt(kControlNames, subtype);
}

std::string_view audioCodecName(std::uint32_t codec) {
  return codec % 16 == 0 ? nameAt(kAudioCodecNames, codec / 16) : std::string_view();
}

std::string_view audioFormatName(std::uint32_t format) {
  return nameAt(kAudioFormatNames, format);
}

std::string_view videoCodecName(std::uint32_t codec) {
  return nameAt(kVideoCodecNames, codec);
}

}  // namespace qvs
