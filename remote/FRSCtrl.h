// SPDX-License-Identifier: MIT

#pragma once

/// The names of the protocol with the remote service daemon: pipe identifiers, elements and attributes.
/// Their spellings are part of the protocol.
namespace Kvs::FRSCtrl {

inline constexpr wchar_t Pipe_RemoteClient[] = L"Kvn30RemoteClient";
inline constexpr wchar_t Pipe_RemoteServer[] = L"Kvn30RemoteServer";

// Agent to service.
inline constexpr char Tag_GetStatus[] = "GetStatus";
inline constexpr char Tag_GetServerStatus[] = "GetServerStatus";
inline constexpr char Tag_RegisterAgent[] = "RegisterAgent";
inline constexpr char Tag_UnregisterAgent[] = "UnregisterAgent";
inline constexpr char Tag_ClientLauched[] = "ClientLauched";
inline constexpr char Tag_Pause[] = "Pause";
inline constexpr char Tag_Continue[] = "Continue";
inline constexpr char Tag_RebootSystem[] = "RebootSystem";

// Service to agent.
inline constexpr char Tag_Status[] = "Status";
inline constexpr char Tag_Proxy[] = "Proxy";
inline constexpr char Tag_ServerStatus[] = "ServerStatus";
inline constexpr char Tag_RequestResult[] = "RequestResult";
inline constexpr char Tag_ServiceCommand[] = "ServiceCommand";

inline constexpr char Attr_RequestData[] = "RequestData";
inline constexpr char Attr_StatusCode[] = "StatusCode";
inline constexpr char Attr_Value[] = "Value";
inline constexpr char Attr_Name[] = "Name";
inline constexpr char Attr_Server[] = "Server";
inline constexpr char Attr_Version[] = "Version";
inline constexpr char Attr_LastError[] = "LastError";
inline constexpr char Attr_SubProcessSessions[] = "SubProcessSessions";
inline constexpr char Attr_RemoteRegistrationName[] = "RemoteRegistrationName";
inline constexpr char Attr_Time[] = "Time";
inline constexpr char Attr_Priority[] = "Priority";
inline constexpr char Attr_SessionID[] = "SessionID";
inline constexpr char Attr_UserID[] = "UserID";
inline constexpr char Attr_ProcessID[] = "ProcessID";
inline constexpr char Attr_Command[] = "Command";
inline constexpr char Attr_Executable[] = "Executable";
inline constexpr char Attr_Parameters[] = "Parameters";

/// The command word that asks the agent to launch the client program.
inline constexpr char Command_ExecuteProcess[] = "ExecuteProcess";

} // namespace Kvs::FRSCtrl
