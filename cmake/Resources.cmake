# Resources of a module, as ELF notes of the section .note.zlkcamtr: found through the program
# header, without an exported symbol. The description of a note (all numbers little-endian):
#
#      0   2   number of the resource
#      2   2   its type, where that is a number; else 0
#      4  16   its type, where that is a name; filled up with zeros
#     20       the bytes

# Adds the assembler source `name` with one note, whose bytes the lines of `bytes` emit.
function(_zlk_add_note target name type id bytes)
  if(type STREQUAL "RT_STRING")
    set(number 6)
    set(type "")
  else()
    set(number 0)
  endif()
  string(LENGTH "${type}" length)
  if(length GREATER 15)
    message(FATAL_ERROR "The resource type ${type} is longer than 15 letters.")
  endif()
  set(source ${CMAKE_CURRENT_BINARY_DIR}/resources/${target}_${name}.S)
  file(CONFIGURE OUTPUT ${source} @ONLY CONTENT [=[
.section .note.zlkcamtr, "a", %note
.balign 4
.long 2f - 1f, 4f - 3f, 1
1: .asciz "ZlkCamTr"
2: .balign 4
3: .short @id@, @number@
   .ascii "@type@"
   .fill 16 - @length@, 1, 0
@bytes@
4: .balign 4
.section .note.GNU-stack, "", %progbits
]=])
  target_sources(${target} PRIVATE ${source})
  set(source ${source} PARENT_SCOPE)
endfunction()

# zlk_add_resource(target TYPE <name> ID <number> FILE <file>): the file's bytes as they are.
function(zlk_add_resource target)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "TYPE;ID;FILE" "")
  get_filename_component(file ${arg_FILE} ABSOLUTE)
  _zlk_add_note(${target} ${arg_TYPE}_${arg_ID} ${arg_TYPE} ${arg_ID} "   .incbin \"${file}\"")
  set_source_files_properties(${source} PROPERTIES OBJECT_DEPENDS ${file})
endfunction()

# zlk_add_strings(target FILE <file>): string tables of a file with a number, a blank and an ASCII
# text on each line. A block of sixteen texts is one resource: its number is that of the texts
# divided by sixteen, plus one, and each text stands in it behind its count of UTF-16 units.
function(zlk_add_strings target)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "FILE" "")
  get_filename_component(file ${arg_FILE} ABSOLUTE)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${file})
  file(STRINGS ${file} lines)
  set(blocks "")
  foreach(line IN LISTS lines)
    if(NOT line MATCHES "^([0-9]+) ([ -~]*)$")
      message(FATAL_ERROR "${file}: a number, a blank and an ASCII text expected: ${line}")
    endif()
    set(text_${CMAKE_MATCH_1} "${CMAKE_MATCH_2}")
    math(EXPR block "${CMAKE_MATCH_1} / 16 + 1")
    list(APPEND blocks ${block})
  endforeach()
  list(REMOVE_DUPLICATES blocks)
  foreach(block IN LISTS blocks)
    set(bytes "")
    math(EXPR first "(${block} - 1) * 16")
    math(EXPR last "${first} + 15")
    foreach(id RANGE ${first} ${last})
      string(LENGTH "${text_${id}}" length)
      string(HEX "${text_${id}}" units)
      string(REGEX REPLACE "(..)" ", 0x\\1" units "${units}")
      string(APPEND bytes "   .short ${length}${units}\n")
    endforeach()
    _zlk_add_note(${target} RT_STRING_${block} RT_STRING ${block} "${bytes}")
  endforeach()
endfunction()
