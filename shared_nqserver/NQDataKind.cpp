#include "shared_nqserver/NQDataKind.h"

std::string_view nameOf(NQDataKind kind) {
  switch (kind) {
    case NQDataKind::kNumberType:
      return "kNumberType";
    case NQDataKind::kBoolType:
      return "kboolType";
    case NQDataKind::kStringType:
      return "kStringType";
    case NQDataKind::kObjectType:
      return "kObjectType";
    case NQDataKind::kMovieClipType:
      return "kMovieClipType";
    case NQDataKind::kNullType:
      return "kNullType";
    case NQDataKind::kUndefinedType:
      return "kUndefinedType";
    case NQDataKind::kReferenceType:
      return "kReferenceType";
    case NQDataKind::kArrayType:
      return "kArrayType";
    case NQDataKind::kObjectEndType:
      return "kObjectEndType";
    // Some of these names are cut or misspelt. The texts are fixed.
    case NQDataKind::kStrictArrayType:
      return "kStrictArrayTyp";
    case NQDataKind::kDateType:
      return "kDateType";
    case NQDataKind::kLongStringType:
      return "kLongStringType";
    case NQDataKind::kUnsupportedType:
      return "kUnsupportedTyp";
    case NQDataKind::kXMLType:
      return "kXMLType";
    case NQDataKind::kTypedObjectType:
      return "kTypedObjectTyp";
    case NQDataKind::kAvmPlusObjectType:
      return "kAvmPlusObjectType";
    case NQDataKind::kBlobType:
      return "kBlobType";
    case NQDataKind::kInt64Type:
      return "kInt64Type";
  }
  return {};
}

bool isContainer(NQDataKind kind) {
  switch (kind) {
    case NQDataKind::kObjectType:
    case NQDataKind::kArrayType:
    case NQDataKind::kStrictArrayType:
    case NQDataKind::kTypedObjectType:
    case NQDataKind::kAvmPlusObjectType:
      return true;
    default:
      return false;
  }
}

bool isNumber(NQDataKind kind) {
  return kind == NQDataKind::kNumberType || kind == NQDataKind::kInt64Type;
}

/// Kinds that may describe a stream: those whose members have names.
bool isDescription(NQDataKind kind) {
  return kind == NQDataKind::kObjectType || kind == NQDataKind::kArrayType || kind == NQDataKind::kAvmPlusObjectType;
}
