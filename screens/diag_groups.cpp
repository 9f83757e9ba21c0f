#include "screens/diag_groups.h"

#include "screens/diag_keys.h"

namespace zrp {
namespace {

constexpr DiagGroup kDiagGroups[] = {
    {1,
     "ZRP Server Directory Cache",
     {
         {"open ZRP Files:", server_key::openFiles},
         {"open Linux Files:", server_key::openLinuxFiles},
         {"normal Opens:", server_key::normalOpenCount},
         {"lazy Opens:", server_key::lazyOpenCount},
         {"lazy Closes:", server_key::lazyCloseCount},
         {"background Closes:", server_key::backgroundCloseCount},
     }},
    {2,
     "ZRP Server Comm Layer",
     {
         {"ReplyKeepBufferFilledOut:", server_key::replyKeepBufferFilledOut},
         {"ReplyLargeBufferFilledOut:", server_key::replyLargeBufferFilledOut},
         {"ReplyDiscard:", server_key::replyDisgard},
         {"ReplyKeepNoFragments:", server_key::replyKeepNoFragments},
         {"Verb not supported count:", server_key::verbNotSupportedCount},
         {"Bad request count:", server_key::badRequestCount},
     }},
    {3,
     "ZRP Server IPC/RPC",
     {
         {"console rpc request count:", server_key::consoleRpcRequestCount},
         {"Bad rpc request number count:", server_key::badRpcRequestNumberCount},
         {"bks rpc request count:", server_key::bksRpcRequestCount},
         {"ipcClient rpcs:", server_key::ipcClientRpcs},
         {"ipcClient errors:", server_key::ipcClientErrors},
         {"ipcListener requests:", server_key::ipcListenerRequests},
         {"ipcListener pool count:", server_key::ipcListenerPoolCount},
         {"ipcListener memory request:", server_key::ipcListenerMemoryRequest},
         {"ipcListener ENOMEM:", server_key::ipcListenerENOMEM},
         {"ipcListener errors:", server_key::ipcListenerErrors},
     }},
    {4,
     "ZRP Server Misc. Errors",
     {
         {"Not logged in count:", server_key::notLoggedInCount},
         {"Boundary check failed count:", server_key::boundaryCheckFailedCount},
         {"No Console rights count:", server_key::noConsoleRightsCount},
         {"No malloc space count:", server_key::noMallocSpaceCount},
         {"Bad parameter count:", server_key::badParameterCount},
         {"Fatal I/O error count:", server_key::fatalIOErrorCount},
         {"Add Event count:", server_key::addEventCount},
         {"Event failed:", server_key::eventFailed},
     }},
    {5,
     "ZRP Server Trustees",
     {
         {"Add trustee events:", server_key::addTrusteeEvents},
         {"Delete trustee events:", server_key::deleteTrusteeEvents},
         {"Security sync events:", server_key::securitySyncEvents},
         {"Set Inherited Rights mask events:", server_key::setInheritedRightsMaskEvents},
     }},
    {6,
     "ZRP Server BKS received Events",
     {
         {"BKS events received:", server_key::bksEventsReceived},
         {"BKS unknown event:", server_key::bksUnknownEvent},
         {"BKS event failed:", server_key::bksEventFailed},
         {"BKS Add trustee events:", server_key::bksAddTrusteeEvents, kUnevenLabelWidth},
         {"BKS Delete trustee events:", server_key::bksDeleteTrusteeEvents, kUnevenLabelWidth},
         {"BKS Set Inherited rights events:", server_key::bksSetInheritedRightsEvents},
     }},
    {7,
     "ZRP Server Delete files",
     {
         {"Scan Deleted files events:", server_key::scanDeletedFilesEvents},
         {"Purge Deleted file events:", server_key::purgeDeletedFileEvents},
         {"Salvage Deleted file events:", server_key::salvageDeletedFileEvents},
         {"Purge volume events:", server_key::purgeVolumeEvents},
     }},
    {8,
     "ZRP Server User/Directory quotas",
     {
         {"Scan volume user restrictions events:", server_key::scanVolumeUserRestrictionsEvents},
         {"Add volume user restrictions events:", server_key::addVolumeUserRestrictionsEvents},
         {"Get volume user restrictions events:", server_key::getVolumeUserRestrictionsEvents},
         {"Delete user restrictions events:", server_key::deleteUserRestrictionsEvents},
         {"Set Directory quota requests:", server_key::setDirectoryQuotaRequests},
         {"Return Directory quota requests:", server_key::returnDirectoryQuotaRequests},
     }},
    {11,
     "zrp2bks Daemon Manage Access",
     {
         {"manage.cmd:", bks_key::manageCmdCalls},
         {"files.cmd:", bks_key::filesCmdCalls},
         {"linux.cmd:", bks_key::linuxCmdCalls},
     }},
    {12,
     "zrp2bks Daemon Requests",
     {
         {"requests:", bks_key::request},
         {"failed:", bks_key::failedRequests},
         {"null requests:", bks_key::nullMessageRequests},
     }},
    {13,
     "zrp2bks Daemon IPC/RPC",
     {
         {"ipcClient rpcs:", bks_key::ipcClientRpcs},
         {"ipcClient errors:", bks_key::ipcClientErrors},
         {"ipcListener requests:", bks_key::ipcListenerRequests},
         {"ipcListener pool count:", bks_key::ipcListenerPoolCount},
         {"ipcListener memory request:", bks_key::ipcListenerMemoryRequest},
         {"ipcListener ENOMEM:", bks_key::ipcListenerENOMEM},
         {"ipcListener errors:", bks_key::ipcListenerErrors},
     }},
    {14,
     "zrp2bks Daemon KVQ Events",
     {
         {"recieved:", bks_key::kvqEventsReceived},
         {"failed:", bks_key::kvqEventsFailed},
         {"partials:", bks_key::kvqPartials},
         {"unknown:", bks_key::kvqUnknownType},
     }},
    {15,
     "zrp2bks Daemon Volume Access",
     {
         {"list volumes:", bks_key::listVolumesRequests},
         {"volume info:", bks_key::getVolumeInfoRequests},
         {"pool info:", bks_key::getPoolInfoRequests},
         {"dismount request:", bks_key::dismountVolumeRequests},
         {"mount request:", bks_key::mountVolumeRequests},
         {"mount point info:", bks_key::getMountPointInfoRequests},
         {"purge volume:", bks_key::purgeVolumeRequests},
         {"change volume state:", bks_key::changeVolumeStateEvents},
     }},
    {16,
     "zrp2bks Daemon User/Directory quotas",
     {
         {"Scan volume user quota request:", bks_key::scanVolumeUserQuotaRequests},
         {"Get Directory quota requests:", bks_key::getQuotaRequests},
         {"Set Directory quota requests:", bks_key::setQuotaRequests},
         {"Remove user quota requests:", bks_key::removeUserQuotaRequests},
     }},
    {17,
     "zrp2bks Daemon Deleted files",
     {
         {"Scan Deleted files requests:", bks_key::scanDeletedFilesRequests},
         {"Purge Deleted file requests:", bks_key::purgeDeletedFilesRequests},
         {"Salvage Deleted file requests:", bks_key::salvageDeletedFilesRequests},
     }},
    {18,
     "zrp2bks Daemon Trustees",
     {
         {"Add trustee requests:", bks_key::addTrusteesRequests},
         {"Delete trustee requests:", bks_key::removeTrusteesRequests},
         {"Scan trustee requests:", bks_key::scanTrusteesRequests},
         {"Set Inherited Rights mask requests:", bks_key::setInheritedRightsMaskRequests},
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

} // namespace zrp
