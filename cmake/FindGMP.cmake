# Finds GMP and its C++ class library; defines the imported target GMP::GMP.
find_path(GMP_INCLUDE_DIR gmpxx.h)
find_library(GMP_LIBRARY gmp)
find_library(GMPXX_LIBRARY gmpxx)
include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(GMP REQUIRED_VARS GMP_LIBRARY GMPXX_LIBRARY GMP_INCLUDE_DIR)
if(GMP_FOUND AND NOT TARGET GMP::GMP)
  add_library(GMP::GMP INTERFACE IMPORTED)
  # By name, not by path, so that a program may link them statically.
  get_filename_component(GMP_LIBRARY_DIR "${GMP_LIBRARY}" DIRECTORY)
  set_target_properties(GMP::GMP PROPERTIES INTERFACE_INCLUDE_DIRECTORIES "${GMP_INCLUDE_DIR}"
                        INTERFACE_LINK_DIRECTORIES "${GMP_LIBRARY_DIR}"
                        INTERFACE_LINK_LIBRARIES "gmpxx;gmp")
endif()
mark_as_advanced(GMP_INCLUDE_DIR GMP_LIBRARY GMPXX_LIBRARY)
