#ifndef VEXA_COMMON_TYPES_H
#define VEXA_COMMON_TYPES_H

/// Plain types that several families of operations share.
namespace Vexacommon {

/// Where `VexaCommonUtils_i::TransferLikeSql` puts wildcards around the text of a LIKE operand.
/// A value outside the enumerators counts as `FUZZY_QUERY_NONE`.
enum FuzzyQueryMode : int {
  FUZZY_QUERY_NONE = 0,   ///< the text alone: equal texts match
  FUZZY_QUERY_LEFT = 1,   ///< "%" before the text: texts that end with it match
  FUZZY_QUERY_RIGHT = 2,  ///< "%" behind the text: texts that begin with it match
  FUZZY_QUERY_BOTH = 3    ///< "%" on both sides: texts that contain it match
};

/// A hardware address as six bytes in transmission order.
struct LocalMACAddress {
  unsigned char mac[6];  ///< the address; filled whole or not at all
};

}  // namespace Vexacommon

#endif
