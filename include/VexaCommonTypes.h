#ifndef VEXA_COMMON_TYPES_H
#define VEXA_COMMON_TYPES_H

/// Plain types that several families of operations share. They have no behavior of their own:
/// copies are independent, and no operation keeps a reference to one.
namespace Vexacommon {

/// Where `VexaCommonUtils_i::TransferLikeSql` puts wildcards around a LIKE operand. A value outside
/// the enumerators counts as `FUZZY_QUERY_NONE`.
enum FuzzyQueryMode : int {
  FUZZY_QUERY_NONE = 0,   ///< no wildcard: matches equal strings
  FUZZY_QUERY_LEFT = 1,   ///< "%" before the string: matches strings that end with it
  FUZZY_QUERY_RIGHT = 2,  ///< "%" after the string: matches strings that begin with it
  FUZZY_QUERY_BOTH = 3    ///< "%" on both sides: matches strings that contain it
};

/// A hardware address as six bytes in transmission order: 00:11:22:33:44:55 is 0x00, 0x11 and so
/// on. `GetEther` and `VexaCommonUtils_i::getMacAddrOfIPV6` set it.
struct LocalMACAddress {
  unsigned char mac[6];  ///< the address; set whole or not at all
};

}  // namespace Vexacommon

#endif
