/* Which compositing host a session plays. */
#pragma once

namespace glfxhost {

/* AfterEffects: appl_id 'FXTC', worlds of 8, 16 or 32 bits, smart pre-render
   then smart render. Premiere: appl_id 'PrMr', 8-bit BGRA worlds only, the
   classic render command, none of the AEGP suites. */
enum class HostMode { AfterEffects, Premiere };

} // namespace glfxhost
