#include "fragmentation/AdditionalHeader.h"

#include "server/AMF0Items.h"
#include "util/ExceptionMask.h"

namespace ruvo::k2r {

using namespace qvs::amfmessage;

void writeAdditionalHeader(std::ostream& out, const AdditionalHeader& header) {
  // The writer objects report nothing, so a full disk would otherwise leave half a file as success.
  const qvs::util::ExceptionMask mask(out, std::ios_base::eofbit | std::ios_base::failbit | std::ios_base::badbit);
  AMF0String("|AdditionalHeader").writeTo(out);
  AMF0ObjectBegin().writeTo(out);
  AMF0PropObjectBegin("Encryption").writeTo(out);
  AMF0PropNumber("Version", header.encryptionVersion).writeTo(out);
  AMF0PropString("Method", "Standard").writeTo(out);
  AMF0PropNumber("Flags", header.encryptionFlags).writeTo(out);
  AMF0PropObjectBegin("Params").writeTo(out);
  AMF0PropNumber("Version", header.paramsVersion).writeTo(out);
  AMF0PropString("EncryptionAlgorithm", header.algorithm).writeTo(out);
  AMF0PropObjectBegin("EncryptionParams").writeTo(out);
  AMF0PropNumber("KeyLength", header.keyLength).writeTo(out);
  AMF0ObjectEnd().writeTo(out);  // EncryptionParams
  AMF0PropObjectBegin("KeyInfo").writeTo(out);
  AMF0PropString("subType", "Vantryv2").writeTo(out);
  AMF0PropObjectBegin("VNRSV_METADATA").writeTo(out);
  AMF0PropString("Metadata", header.metadata).writeTo(out);
  AMF0ObjectEnd().writeTo(out);  // VNRSV_METADATA
  AMF0ObjectEnd().writeTo(out);  // KeyInfo
  AMF0ObjectEnd().writeTo(out);  // Params
  AMF0ObjectEnd().writeTo(out);  // Encryption
  AMF0ObjectEnd().writeTo(out);
}

}  // namespace ruvo::k2r
