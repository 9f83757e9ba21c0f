#include "common/requests/diag_groups.h"

#include "common/requests/diag_keys.h"

namespace zrp {
namespace {

constexpr DiagGroup kDiagGroups[] = {
    {1,
     "ZRP Server Directory Cache",
     {
         {"open ZRP Files:", server_key::kOpenFiles},
         {"open Linux Files:", server_key::kOpenLinuxFiles},
         {"normal Opens:", server_key::kNormalOpenCount},
         {"lazy Opens:", server_key::kLazyOpenCount},
         {"lazy Closes:", server_key::kLazyCloseCount},
         {"background Closes:", server_key::kBackgroundCloseCount},
     }},
    {2,
     "ZRP Server Comm Layer",
     {
         {"ReplyKeepBufferFilledOut:", server_key::kReplyKeepBufferFilledOut},
         {"ReplyLargeBufferFilledOut:", server_key::kReplyLargeBufferFilledOut},
         {"ReplyDiscard:", server_key::kReplyDisgard},
         {"ReplyKeepNoFragments:", server_key::kReplyKeepNoFragments},
         {"Verb not supported count:", server_key::kVerbNotSupportedCount},
         {"Bad request count:", server_key::kBadRequestCount},
     }},
    {3,
     "ZRP Server IPC/RPC",
     {
         {"console rpc request count:", server_key::kConsoleRpcRequestCount},
         {"Bad rpc request number count:", server_key::kBadRpcRequestNumberCount},
         {"bks rpc request count:", server_key::kBksRpcRequestCount},
         {"ipcClient rpcs:", server_key::kIpcClientRpcs},
         {"ipcClient errors:", server_key::kIpcClientErrors},
         {"ipcListener requests:", server_key::kIpcListenerRequests},
         {"ipcListener pool count:", server_key::kIpcListenerPoolCount},
         {"ipcListener memory request:", server_key::kIpcListenerMemoryRequest},
         {"ipcListener ENOMEM:", server_key::kIpcListenerENOMEM},
         {"ipcListener errors:", server_key::kIpcListenerErrors},
     }},
    {4,
     "ZRP Server Misc. Errors",
     {
         {"Not logged in count:", server_key::kNotLoggedInCount},
         {"Boundary check failed count:", server_key::kBoundaryCheckFailedCount},
         {"No Console rights count:", server_key::kNoConsoleRightsCount},
         {"No malloc space count:", server_key::kNoMallocSpaceCount},
         {"Bad parameter count:", server_key::kBadParameterCount},
         {"Fatal I/O error count:", server_key::kFatalIOErrorCount},
         {"Add Event count:", server_key::kAddEventCount},
         {"Event failed:", server_key::kEventFailed},
     }},
    {5,
     "ZRP Server Trustees",
     {
         {"Add trustee events:", server_key::kAddTrusteeEvents},
         {"Delete trustee events:", server_key::kDeleteTrusteeEvents},
         {"Security sync events:", server_key::kSecuritySyncEvents},
         {"Set Inherited Rights mask events:", server_key::kSetInheritedRightsMaskEvents},
     }},
    {6,
     "ZRP Server BKS received Events",
     {
         {"BKS events received:", server_key::kBksEventsReceived},
         {"BKS unknown event:", server_key::kBksUnknownEvent},
         {"BKS event failed:", server_key::kBksEventFailed},
         {"BKS Add trustee events:", server_key::kBksAddTrusteeEvents, kWideLabelWidth},
         {"BKS Delete trustee events:", server_key::kBksDeleteTrusteeEvents, kWideLabelWidth},
         {"BKS Set Inherited rights events:", server_key::kBksSetInheritedRightsEvents},
     }},
    {7,
     "ZRP Server Delete files",
     {
         {"Scan Deleted files events:", server_key::kScanDeletedFilesEvents},
         {"Purge Deleted file events:", server_key::kPurgeDeletedFileEvents},
         {"Salvage Deleted file events:", server_key::kSalvageDeletedFileEvents},
         {"Purge volume events:", server_key::kPurgeVolumeEvents},
     }},
    {8,
     "ZRP Server User/Directory quotas",
     {
         {"Scan volume user restrictions events:", server_key::kScanVolumeUserRestrictionsEvents},
         {"Add volume user restrictions events:", server_key::kAddVolumeUserRestrictionsEvents},
         {"Get volume user restrictions events:", server_key::kGetVolumeUserRestrictionsEvents},
         {"Delete user restrictions events:", server_key::kDeleteUserRestrictionsEvents},
         {"Set Directory quota requests:", server_key::kSetDirectoryQuotaRequests},
         {"Return Directory quota requests:", server_key::kReturnDirectoryQuotaRequests},
     }},
    {11,
     "zrp2bks Daemon Manage Access",
     {
         {"manage.cmd:", bks_key::kManageCmdCalls},
         {"files.cmd:", bks_key::kFilesCmdCalls},
         {"linux.cmd:", bks_key::kLinuxCmdCalls},
     }},
    {12,
     "zrp2bks Daemon Requests",
     {
         {"requests:", bks_key::kRequest},
         {"failed:", bks_key::kFailedRequests},
         {"null requests:", bks_key::kNullMessageRequests},
     }},
    {13,
     "zrp2bks Daemon IPC/RPC",
     {
         {"ipcClient rpcs:", bks_key::kIpcClientRpcs},
         {"ipcClient errors:", bks_key::kIpcClientErrors},
         {"ipcListener requests:", bks_key::kIpcListenerRequests},
         {"ipcListener pool count:", bks_key::kIpcListenerPoolCount},
         {"ipcListener memory request:", bks_key::kIpcListenerMemoryRequest},
         {"ipcListener ENOMEM:", bks_key::kIpcListenerENOMEM},
         {"ipcListener errors:", bks_key::kIpcListenerErrors},
     }},
    {14,
     "zrp2bks Daemon KVQ Events",
     {
         {"recieved:", bks_key::kKvqEventsReceived},
         {"failed:", bks_key::kKvqEventsFailed},
         {"partials:", bks_key::kKvqPartials},
         {"unknown:", bks_key::kKvqUnknownType},
     }},
    {15,
     "zrp2bks Daemon Volume Access",
     {
         {"list volumes:", bks_key::kListVolumesRequests},
         {"volume info:", bks_key::kGetVolumeInfoRequests},
         {"pool info:", bks_key::kGetPoolInfoRequests},
         {"dismount request:", bks_key::kDismountVolumeRequests},
         {"mount request:", bks_key::kMountVolumeRequests},
         {"mount point info:", bks_key::kGetMountPointInfoRequests},
         {"purge volume:", bks_key::kPurgeVolumeRequests},
         {"change volume state:", bks_key::kChangeVolumeStateEvents},
     }},
    {16,
     "zrp2bks Daemon User/Directory quotas",
     {
         {"Scan volume user quota request:", bks_key::kScanVolumeUserQuotaRequests},
         {"Get Directory quota requests:", bks_key::kGetQuotaRequests},
         {"Set Directory quota requests:", bks_key::kSetQuotaRequests},
         {"Remove user quota requests:", bks_key::kRemoveUserQuotaRequests},
     }},
    {17,
     "zrp2bks Daemon Deleted files",
     {
         {"Scan Deleted files requests:", bks_key::kScanDeletedFilesRequests},
         {"Purge Deleted file requests:", bks_key::kPurgeDeletedFilesRequests},
         {"Salvage Deleted file requests:", bks_key::kSalvageDeletedFilesRequests},
     }},
    {18,
     "zrp2bks Daemon Trustees",
     {
         {"Add trustee requests:", bks_key::kAddTrusteesRequests},
         {"Delete trustee requests:", bks_key::kRemoveTrusteesRequests},
         {"Scan trustee requests:", bks_key::kScanTrusteesRequests},
         {"Set Inherited Rights mask requests:", bks_key::kSetInheritedRightsMaskRequests},
     }},
};

} // namespace

const DiagGroup* find_diag_group(int32_t type) {
    for (const DiagGroup& group : kDiagGroups) {
        if (group.type == type) {
            return &group;
        }
    }
    return nullptr;
}

std::span<const DiagGroup> diag_groups() {
    return kDiagGroups;
}

} // namespace zrp
