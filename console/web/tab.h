#pragma once

// What one tab of the browser does and is told over its web socket.

#include "console/web/session.h"
#include "console/web/web_socket.h"

namespace web {

// Sends the state whenever it is another one, and answers each text, an act, in its turn, until the socket
// ends.
void ServeTab(Session& session, WebSocket& socket);

}  // namespace web
