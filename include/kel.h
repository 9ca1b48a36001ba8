/* libkel: the whole public interface. */
#ifndef KEL_H
#define KEL_H

#include "kel_error.h"
#include "kel_util.h"
#include "kel_json.h"

#endif /* KEL_H */
