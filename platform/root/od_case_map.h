// Upper case of single characters, the same in every locale.

#pragma once

/// The simple upper case of a character, after Unicode 14; a character without one is answered
/// unchanged, and so is a number that is no character.
///
/// One character gives one character, so a text keeps its length: U+00DF has no simple upper case
/// and stays as it is. The process's locale plays no part.
wchar_t odToUpper(wchar_t c) noexcept;
