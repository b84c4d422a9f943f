#pragma once

/// Lines of the parse log: what was being done when script data turned out to be malformed, from the value with the
/// fault outwards. The texts are fixed.
namespace context {

inline constexpr char kValue[] = "while processing script variable";
inline constexpr char kNumber[] = "while reading number type";
inline constexpr char kInt64[] = "while reading 64 bit integer type";
inline constexpr char kBoolean[] = "while reading boolean type";
inline constexpr char kString[] = "while processing string type";
inline constexpr char kXml[] = "while processing xml type";
inline constexpr char kReference[] = "while processing reference type";
inline constexpr char kDate[] = "while processing date type";
inline constexpr char kBlob[] = "while processing blob data type";
inline constexpr char kArray[] = "while processing array type";
inline constexpr char kStrictArray[] = "while processing strict array type";
inline constexpr char kObject[] = "while processing object data type";

inline constexpr char kAmf3Value[] = "while processing AMF3 object data type";
inline constexpr char kAmf3Integer[] = "while processing integer data atom";
inline constexpr char kAmf3Double[] = "while processing double data atom";
inline constexpr char kAmf3String[] = "while processing string data atom";
inline constexpr char kAmf3Name[] = "while processing name";
inline constexpr char kAmf3Xml[] = "while processing XML data atom";
inline constexpr char kAmf3Date[] = "while processing date atom";
inline constexpr char kAmf3Vector[] = "while processing vector object atom";
inline constexpr char kAmf3Dictionary[] = "while processing dictionary atom";
inline constexpr char kAmf3Bytes[] = "while processing byte array";
inline constexpr char kAmf3Array[] = "while processing array atom";
inline constexpr char kAmf3Object[] = "while processing object atom";

}  // namespace context
