// The walk behind kel_json_visit, offered to the serializer with the member
// lookups taken out. Private to the JSON units.
#pragma once

#include "kel_internal.h"

namespace kel {

// kel_json_visit without the visitor's obj_keys slot (it must be NULL):
// objects are walked straight through their hash table, in insertion order,
// or in strcmp order of the names when `sorted`. The callbacks see exactly
// what kel_json_visit would show them with no obj_keys, respectively with
// kel_json_alpha_keys as obj_keys, but no key list is built and no member is
// looked up by name. The callbacks must not change any object being walked.
gboolean json_visit_in_place(KelJson *json, const KelJsonVisitor *visitor, gpointer data,
                             bool sorted) noexcept;

}  // namespace kel
