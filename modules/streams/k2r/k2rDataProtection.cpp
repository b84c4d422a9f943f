// Whether a recording is in the clear or protected: sets up the policy of its writer, and checks that it fits the
// files.

#include <fstream>

#include "fragmentation/AdditionalHeader.h"
#include "fragmentation/EncryptorContext.h"
#include "fragmentation/ProtectionMetadata.h"
#include "fragmentation/RecordingSettings.h"
#include "fragmentation/base64.h"
#include "modules/streams/k2r/HostLog.h"
#include "modules/streams/k2r/TrialStream.h"
#include "modules/streams/k2r/k2rData.h"
#include "packaging/EncryptedK2RMediaWriterPolicy.h"
#include "packaging/K2RMediaWriterPolicy.h"
#include "packaging/ProtectionBox.h"
#include "platform/os/durableFiles.h"
#include "platform/os/paths.h"
#include "util/ExceptionMask.h"

namespace qvs::k2r {

using namespace ruvo::k2r;
using namespace ruvo::k2rpkgutil;

bool K2RData::isProtected() const {
  return RecordingSettings(*openContext_).readBool("Recording/IsProtected", false);
}

std::uint32_t K2RData::mostDataFor(const RefMessage& message) const {
  // The limit matters for few messages, so the host is asked for the setting only for these.
  return message.dataSize() > kMaxProtectedDataSize && isProtected() ? kMaxProtectedDataSize : util::kMaxTagDataSize;
}

K2RData::PreparedPolicy K2RData::prepareWriterPolicy() {
  if (!isProtected()) return {.policy = std::make_shared<K2RMediaWriterPolicy>(*this), .metadataText = std::nullopt};
  const EncryptorContext context = readEncryptorContext(*openContext_);
  std::string metadataText = base64Encode(generateProtectionMetadata(context).bytes());
  auto policy = makeEncryptedPolicy(context, *this, metadataText);
  return {.policy = std::move(policy), .metadataText = std::move(metadataText)};
}

void K2RData::takeWriterPolicy(PreparedPolicy prepared) {
  // Before the segment, whose content needs it; after all checks of an append, so that a refused one keeps the old
  // file.
  if (prepared.metadataText) writeProtectionFile(*std::move(prepared.metadataText));
  makeSegmentStream((openFlags_ & kOpenAppend) != 0);
  writerPolicy_ = std::move(prepared.policy);
}

void K2RData::writeProtectionFile(std::string metadataText) {
  // The old file is not read: readers take the text from the segments, so its loss is no reason to refuse an append.
  AdditionalHeader header;
  header.metadata = std::move(metadataText);
  {
    std::ofstream out(platform::os::toNative(names_.drmMetaName()), std::ios::binary | std::ios::trunc);
    const util::ExceptionMask mask(out, std::ios::eofbit | std::ios::failbit | std::ios::badbit);
    writeAdditionalHeader(out, header);
    out.flush();
  }
  if (!platform::os::syncFile(names_.drmMetaName())) {
    logError(*streamContext_, "Failed to write file '" + names_.drmMetaName() + "'");
  }
}

void K2RData::checkStoredSegment(IK2RMediaWriterPolicy& policy, std::uint64_t position) {
  const std::string path = names_.segmentName(segmentNumber_);
  IMOFileStatus status;
  if (fileContext_->pathStatus(path.c_str(), &status, 0) != 0) return;
  TrialStream stream(fileContext_, path);
  try {
    const K2RMediaWriter trial(policy, stream, position, warningHandler_);
  } catch (const krvo::k2m::Exception&) {
    // Only a policy that does not fit counts here. A segment that cannot be continued fails later, after the bootstrap
    // is completed.
  } catch (const MalformedProtection&) {
    logWarning(*streamContext_, "The protection data of segment '" + path + "' are damaged.");
    throw;
  }
}

}  // namespace qvs::k2r
