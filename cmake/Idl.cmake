# Makes <build>/generated/<name>.h, and the type library <name>.tlb, of an interface definition file
# <name>.idl. Whoever links the interface target finds the header and is compiled after both have
# been made.
function(zlk_generate_interfaces target idl)
  get_filename_component(name ${idl} NAME_WE)
  set(header ${CMAKE_BINARY_DIR}/generated/${name}.h)
  set(library ${CMAKE_BINARY_DIR}/generated/${name}.tlb)
  file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/generated)
  add_custom_command(
    OUTPUT ${header} ${library}
    COMMAND zlk-idl ${idl} ${header} ${library}
    DEPENDS zlk-idl ${idl}
    COMMENT "Making ${name}.h and ${name}.tlb"
    VERBATIM)
  add_custom_target(${name}_header DEPENDS ${header} ${library})
  add_dependencies(${target} ${name}_header)
  target_include_directories(${target} INTERFACE $<BUILD_INTERFACE:${CMAKE_BINARY_DIR}/generated>)
endfunction()
