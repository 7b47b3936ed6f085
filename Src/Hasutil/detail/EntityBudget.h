// A cap on what the entities of a document grow to.
#pragma once

#include <libxml/tree.h>

namespace hascommon::detail {

/// Tells whether all references to entities in a document, replaced together, stay within
/// 10,000,000 bytes.
///
/// libxml2 refuses nested entities that grow too much while it parses, but not one long entity that
/// is named very often: a query over the text of such a document would build gigabytes.
bool entitiesAreWithinBudget(const xmlDoc* document);

} // namespace hascommon::detail
