// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace ovoctl {

class Examination;

// The way to the server, each step on the ground of those before it.
/// Which URL it is about.
void checkServer(Examination& examination);
void checkProxy(Examination& examination);
void checkHostName(Examination& examination);
void checkConnection(Examination& examination);
/// What the server answers, as the daemon would ask: redirects are reported and not followed.
void checkAnswer(Examination& examination);

} // namespace ovoctl
