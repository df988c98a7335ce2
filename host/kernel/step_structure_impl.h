// The outer structure of a STEP file: statements, texts, comments and entity numbers.

#pragma once

#include <string>

namespace zemhost {

/// Checks what the kernel's reader takes for granted before it sees the file.
///
/// Every text and comment has an end, and no entity number is defined twice: the reader chains
/// entities by their numbers and walks in circles when two share one. No list nests deeper than 1000
/// levels, for which the reader would use up its stack, and every number is finite, as the kernel
/// computes without end on one that isn't. References to entities that
/// do not exist are left to the reader, which tells them as warnings.
///
/// One pass over the file; memory grows by 8 bytes for each entity.
/// \throws KernelError (damaged file, unreadable file) without the file's name, with the line.
void checkStepStructure(const std::string& path);

}  // namespace zemhost
