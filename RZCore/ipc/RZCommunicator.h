#pragma once
// Process communication: the frame format, the main process's server and the helpers' client.

#include <RZCore/ipc/RZCommunicatorClient.h>
#include <RZCore/ipc/RZCommunicatorMsg.h>
#include <RZCore/ipc/RZCommunicatorServer.h>
