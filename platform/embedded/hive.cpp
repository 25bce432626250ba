#include "platform/embedded/hive.h"

namespace embedded {

LONG SaveHive(Transaction&, KeyId, const char*) { return ERROR_CALL_NOT_IMPLEMENTED; }
LONG RestoreHive(Transaction&, KeyId, const char*) { return ERROR_CALL_NOT_IMPLEMENTED; }

}  // namespace embedded
