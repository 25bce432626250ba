#include "platform/embedded/messages.h"

#include <algorithm>
#include <iterator>

#include "platform/embedded/win32/errors.h"

// The English texts of Windows for the codes that an administrator can meet here.

namespace embedded {
namespace {

struct Message {
  DWORD code;
  const char* text;
};

// Sorted by code. A text ends in a full stop or a line end of its own; "\r\n" is added to all.
constexpr Message kSystem[] = {
    {0, "The operation completed successfully."},
    {1, "Incorrect function."},
    {2, "The system cannot find the file specified."},
    {3, "The system cannot find the path specified."},
    {4, "The system cannot open the file."},
    {5, "Access is denied."},
    {6, "The handle is invalid."},
    {8, "Not enough memory resources are available to process this command."},
    {11, "An attempt was made to load a program with an incorrect format."},
    {13, "The data is invalid."},
    {14, "Not enough memory resources are available to complete this operation."},
    {15, "The system cannot find the drive specified."},
    {17, "The system cannot move the file to a different disk drive."},
    {18, "There are no more files."},
    {19, "The media is write protected."},
    {21, "The device is not ready."},
    {23, "Data error (cyclic redundancy check)."},
    {29, "The system cannot write to the specified device."},
    {30, "The system cannot read from the specified device."},
    {31, "A device attached to the system is not functioning."},
    {32, "The process cannot access the file because it is being used by another process."},
    {33, "The process cannot access the file because another process has locked a portion of the file."},
    {38, "Reached the end of the file."},
    {50, "The request is not supported."},
    {51,
     "Windows cannot find the network path. Verify that the network path is correct and the destination "
     "computer is "
     "not busy or turned off. If Windows still cannot find the network path, contact your network "
     "administrator."},
    {52,
     "You were not connected because a duplicate name exists on the network. If joining a domain, go to "
     "System in "
     "Control Panel to change the computer name and try again. If joining a workgroup, choose another "
     "workgroup "
     "name."},
    {53, "The network path was not found."},
    {54, "The network is busy."},
    {65, "Network access is denied."},
    {67, "The network name cannot be found."},
    {80, "The file exists."},
    {82, "The directory or file cannot be created."},
    {87, "The parameter is incorrect."},
    {109, "The pipe has been ended."},
    {110, "The system cannot open the device or file specified."},
    {111, "The file name is too long."},
    {112, "There is not enough space on the disk."},
    {120, "This function is not supported on this system."},
    {121, "The semaphore timeout period has expired."},
    {122, "The data area passed to a system call is too small."},
    {123, "The filename, directory name, or volume label syntax is incorrect."},
    {124, "The system call level is not correct."},
    {126, "The specified module could not be found."},
    {127, "The specified procedure could not be found."},
    {131, "An attempt was made to move the file pointer before the beginning of the file."},
    {145, "The directory is not empty."},
    {158, "The segment is already unlocked."},
    {161, "The specified path is invalid."},
    {170, "The requested resource is in use."},
    {183, "Cannot create a file when that file already exists."},
    {193, "%1 is not a valid Win32 application."},
    {203, "The system could not find the environment option that was entered."},
    {206, "The filename or extension is too long."},
    {234, "More data is available."},
    {258, "The wait operation timed out."},
    {259, "No more data is available."},
    {267, "The directory name is invalid."},
    {288, "Attempt to release mutex not owned by caller."},
    {317, "The system cannot find message text for message number 0x%1 in the message file for %2."},
    {487, "Attempt to access invalid address."},
    {995, "The I/O operation has been aborted because of either a thread exit or an application request."},
    {997, "Overlapped I/O operation is in progress."},
    {998, "Invalid access to memory location."},
    {1004, "Invalid flags."},
    {1006, "The volume for a file has been externally altered so that the opened file is no longer valid."},
    {1008, "An attempt was made to reference a token that does not exist."},
    {1009, "The configuration registry database is corrupt."},
    {1010, "The configuration registry key is invalid."},
    {1011, "The configuration registry key could not be opened."},
    {1012, "The configuration registry key could not be read."},
    {1013, "The configuration registry key could not be written."},
    {1014,
     "One of the files in the registry database had to be recovered by use of a log or alternate copy. The "
     "recovery "
     "was successful."},
    {1015,
     "The registry is corrupted. The structure of one of the files containing registry data is corrupted, or "
     "the "
     "system's memory image of the file is corrupted, or the file could not be recovered because the "
     "alternate copy "
     "or log was absent or corrupted."},
    {1016,
     "An I/O operation initiated by the registry failed unrecoverably. The registry could not read in, or "
     "write out, "
     "or flush, one of the files that contain the system's image of the registry."},
    {1017,
     "The system has attempted to load or restore a file into the registry, but the specified file is not in "
     "a "
     "registry file format."},
    {1018, "Illegal operation attempted on a registry key that has been marked for deletion."},
    {1019, "System could not allocate the required space in a registry log."},
    {1020, "Cannot create a symbolic link in a registry key that already has subkeys or values."},
    {1021, "Cannot create a stable subkey under a volatile parent key."},
    {1051, "A stop control has been sent to a service that other running services are dependent on."},
    {1052, "The requested control is not valid for this service."},
    {1053, "The service did not respond to the start or control request in a timely fashion."},
    {1054, "A thread could not be created for the service."},
    {1055, "The service database is locked."},
    {1056, "An instance of the service is already running."},
    {1057,
     "The account name is invalid or does not exist, or the password is invalid for the account name "
     "specified."},
    {1058,
     "The service cannot be started, either because it is disabled or because it has no enabled devices "
     "associated "
     "with it."},
    {1060, "The specified service does not exist as an installed service."},
    {1061, "The service cannot accept control messages at this time."},
    {1062, "The service has not been started."},
    {1065, "The database specified does not exist."},
    {1066, "The service has returned a service-specific error code."},
    {1067, "The process terminated unexpectedly."},
    {1068, "The dependency service or group failed to start."},
    {1069, "The service did not start due to a logon failure."},
    {1072, "The specified service has been marked for deletion."},
    {1073, "The specified service already exists."},
    {1113, "No mapping for the Unicode character exists in the target multi-byte code page."},
    {1114, "A dynamic link library (DLL) initialization routine failed."},
    {1115, "A system shutdown is in progress."},
    {1117, "The request could not be performed because of an I/O device error."},
    {1168, "Element not found."},
    {1200, "The specified device name is invalid."},
    {1203,
     "The network path was either typed incorrectly, does not exist, or the network provider is not "
     "currently "
     "available. Please try retyping the path or contact your network administrator."},
    {1208, "An extended error has occurred."},
    {1209, "The format of the specified group name is invalid."},
    {1210, "The format of the specified computer name is invalid."},
    {1212, "The format of the specified domain name is invalid."},
    {1219,
     "Multiple connections to a server or shared resource by the same user, using more than one user name, "
     "are not "
     "allowed. Disconnect all previous connections to the server or shared resource and try again."},
    {1223, "The operation was canceled by the user."},
    {1225, "The remote computer refused the network connection."},
    {1231,
     "The network location cannot be reached. For information about network troubleshooting, see Windows "
     "Help."},
    {1232,
     "The network location cannot be reached. For information about network troubleshooting, see Windows "
     "Help."},
    {1237, "The operation could not be completed. A retry should be performed."},
    {1300, "Not all privileges or groups referenced are assigned to the caller."},
    {1301, "Some mapping between account names and security IDs was not done."},
    {1305, "The revision level is unknown."},
    {1306, "Indicates two revision levels are incompatible."},
    {1307, "This security ID may not be assigned as the owner of this object."},
    {1308, "This security ID may not be assigned as the primary group of an object."},
    {1311,
     "We can't sign you in with this credential because your domain isn't available. Make sure your device "
     "is "
     "connected to your organization's network and try again. If you previously signed in on this device "
     "with "
     "another credential, you can sign in with that credential."},
    {1312, "A specified logon session does not exist. It may already have been terminated."},
    {1313, "A specified privilege does not exist."},
    {1314, "A required privilege is not held by the client."},
    {1315, "The name provided is not a properly formed account name."},
    {1316, "The specified account already exists."},
    {1317, "The specified account does not exist."},
    {1318, "The specified group already exists."},
    {1319, "The specified group does not exist."},
    {1323, "Unable to update the password. The value provided as the current password is incorrect."},
    {1326, "The user name or password is incorrect."},
    {1332, "No mapping between account names and security IDs was done."},
    {1335, "The subauthority part of a security ID is invalid for this particular use."},
    {1336, "The access control list (ACL) structure is invalid."},
    {1337, "The security ID structure is invalid."},
    {1338, "The security descriptor structure is invalid."},
    {1340, "The inherited access control list (ACL) or access control entry (ACE) could not be built."},
    {1341, "The server is currently disabled."},
    {1344, "No more memory is available for security information updates."},
    {1352,
     "The security account manager (SAM) or local security authority (LSA) server was in the wrong state to "
     "perform the security operation."},
    {1355, "The specified domain either does not exist or could not be contacted."},
    {1359, "An internal error occurred."},
    {1361, "A security descriptor is not in the right format (absolute or self-relative)."},
    {1376, "The specified local group does not exist."},
    {1379, "The specified local group already exists."},
    {1460, "This operation returned because the timeout period expired."},
    {1722, "The RPC server is unavailable."},
    {1723, "The RPC server is too busy to complete this operation."},
    {1726, "The remote procedure call failed."},
    {1784, "The supplied user buffer is not valid for the requested operation."},
    {1788, "The trust relationship between the primary domain and the trusted domain failed."},
    {1789, "The trust relationship between this workstation and the primary domain failed."},
    {1812, "The specified image file did not contain a resource section."},
    {1813, "The specified resource type cannot be found in the image file."},
    {1814, "The specified resource name cannot be found in the image file."},
    {2202, "The specified username is invalid."},
    {2250, "This network connection does not exist."},
    {2401, "This network connection has files open or requests pending."},
    {2402, "Active connections still exist."},
    {2404, "The device is in use by an active process and cannot be disconnected."},
    {0x80090001, "Bad UID."},
    {0x80090002, "Bad Hash."},
    {0x80090003, "Bad Key."},
    {0x80090004, "Bad Length."},
    {0x80090005, "Bad Data."},
    {0x80090008, "Invalid algorithm specified."},
    {0x80090009, "Invalid flags specified."},
    {0x8009000C, "Hash not valid for use in specified state."},
    {0x80090014, "Invalid provider type specified."},
    {0x80090016, "Keyset does not exist"},
    {0x80090017, "Provider type not defined."},
    {0x80090019, "The keyset is not defined."},
    {0x80090020, "An internal error occurred."},
};

// netmsg.dll's, which the system's own table does not hold.
constexpr Message kNetwork[] = {
    {2102, "The workstation driver is not installed."},
    {2103, "The server could not be located."},
    {2106, "This operation is not supported on workstations."},
    {2114, "The Server service is not started."},
    {2118, "The name has already been shared."},
    {2123, "The API return buffer is too small."},
    {2127, "A remote API error occurred."},
    {2136, "A general network error occurred."},
    {2137,
     "The Workstation service is in an inconsistent state. Restart the computer before restarting the "
     "Workstation "
     "service."},
    {2138, "The Workstation service has not been started."},
    {2140, "An internal Windows error occurred."},
    {2142, "The requested API is not supported on the remote server."},
    {2220, "The group name could not be found."},
    {2221, "The user name could not be found."},
    {2223, "The group already exists."},
    {2224, "The account already exists."},
    {2226, "This operation is only allowed on the primary domain controller of the domain."},
    {2310, "This shared resource does not exist."},
    {2351, "This computer name is invalid."},
    {2453, "Could not find domain controller for this domain."},
};

template <size_t N>
const char* Find(const Message (&table)[N], DWORD code) {
  const auto* found = std::ranges::lower_bound(table, code, {}, &Message::code);
  return found != std::end(table) && found->code == code ? found->text : nullptr;
}

static_assert(std::ranges::is_sorted(kSystem, {}, &Message::code));
static_assert(std::ranges::is_sorted(kNetwork, {}, &Message::code));

}  // namespace

const char* MessageText(MessageTable table, DWORD code) {
  return table == MessageTable::kSystem ? Find(kSystem, code) : Find(kNetwork, code);
}

}  // namespace embedded
