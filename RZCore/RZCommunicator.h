#pragma once
// Process communication: the frame format, the main process's server and the helpers' client.

#include <RZCore/RZCommunicatorClient.h>
#include <RZCore/RZCommunicatorMsg.h>
#include <RZCore/RZCommunicatorServer.h>
