// Single steps of recipes as bytes.

#pragma once

#include "kernel/byte_stream_impl.h"
#include "kernel/recipe.h"

namespace zemhost {

void writeStep(ByteWriter& writer, const RecipeStep& step);

/// \throws KernelError (damaged bytes). Whether the step makes sense isn't checked.
RecipeStep readStep(ByteReader& reader);

/// "step 2 (cut)", or "cut" for one that belongs to no recipe.
std::string stepTitle(const RecipeStep& step);

/// \throws KernelError (bad argument) that names the step and what is wrong with it.
void checkStep(const RecipeStep& step);

}  // namespace zemhost
