#include "field/ffield.hpp"

namespace tessaron {

void fldver(Text<80>& text, int i, int& n) {
  n = 1;
  text = i == 1 ? "fld_version = fld3f3_13_no_wint2  from 17.03.05" : "";
}

}  // namespace tessaron
