// Internal: the single outlet of COxString::arg()'s "Argument missing"
// warnings. Every form of arg() builds its finished message and hands it
// here, so the diagnostics have one place to route it.
#ifndef OXSTRINGARG_P_H
#define OXSTRINGARG_P_H

// Writes text (a whole message, UTF-8) as a warning through the debug output.
void OxStringArgMissing(const char* text);

#endif // OXSTRINGARG_P_H
