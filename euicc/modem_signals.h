// euicc/modem_signals.h: releases the modems when a signal ends the process. Internal to euicc/.
#pragma once
#include "euicc/modem_channel.h"

// The handles that a signal releases, by modem number. open_modem takes a handle from here when there is one but
// enters none: a component that wants its modem released on termination registers the handle itself.
extern ModemHandle *modem_table[MODEM_COUNT];

// Empties the table and puts the handler in front of the process's own ones for SIGINT, SIGTERM and SIGTSTP.
void modem_signals__install();
