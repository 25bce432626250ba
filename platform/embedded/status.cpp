#include "platform/embedded/status.h"

#include <lmdb.h>

#include <cerrno>

namespace embedded {

LONG Status(int lmdb) {
  switch (lmdb) {
    case 0:
      return ERROR_SUCCESS;
    case MDB_NOTFOUND:
    case ENOENT:
      return ERROR_FILE_NOT_FOUND;
    case MDB_MAP_FULL:
    case ENOSPC:
    case EDQUOT:
    case EFBIG:
      return ERROR_DISK_FULL;
    case ENOMEM:
      return ERROR_NOT_ENOUGH_MEMORY;
    case EACCES:
    case EPERM:
    case EROFS:
      return ERROR_ACCESS_DENIED;
    case MDB_INVALID:
    case MDB_CORRUPTED:
    case MDB_PAGE_NOTFOUND:
    case MDB_INCOMPATIBLE:
      return ERROR_REGISTRY_CORRUPT;
    case MDB_VERSION_MISMATCH:
      return ERROR_NOT_SUPPORTED;
    case MDB_READERS_FULL:
    case EMFILE:
    case ENFILE:
      return ERROR_NO_SYSTEM_RESOURCES;
    default:
      return ERROR_REGISTRY_IO_FAILED;
  }
}

}  // namespace embedded
