// Every record that crosses the library's boundary, as a host's compiler lays it out. abidiff looks
// no further into a list than its one pointer, so that the library itself does not show all of
// them.
#include "plc_driver.h"

struct Records {
    ComInfo portBlock;
    RW_VAR variable;
    Protocol request;
    VARDEF definition;
    EXTENDVAR extension;
};

Q_DECL_EXPORT Records records();

Records records() {
    return {};
}
