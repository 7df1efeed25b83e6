#pragma once

#include <jack/jack.h>

#include <string>
#include <vector>

#include "hosts/player/DeviceList.h"

namespace morv::player {

// Small calls around the JACK library. Main thread.

// The library writes to the standard error stream whatever happens, each vain try for a server included; from
// here on it does not.
void silenceJack();
// Names of all ports of a type that have all of these flags, in the server's order.
std::vector<std::string> jackPorts(jack_client_t* client, const char* type, unsigned long flags);
// Why `jack_client_open` gave none.
std::string reasonOfJack(jack_status_t status);
// Connects for a moment.
Result<JackServerInfo> lookAtJackServer();

}  // namespace morv::player
