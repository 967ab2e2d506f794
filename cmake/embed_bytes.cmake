# sysaccess_bytes_of(<file> <variable>)
#
# Sets <variable> to the file's bytes as a C++ initializer list of char
# literals ('\x7b', '\x0a', ...), sixteen a line, for a generated source that
# compiles the file in: no text the file holds can end a literal. Configuring
# again whenever the file changes keeps the generated source current.
function(sysaccess_bytes_of file variable)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${file}")
  file(READ "${file}" hex HEX)
  string(REGEX REPLACE "(..)" "'\\\\x\\1', " bytes "${hex}")
  string(REGEX REPLACE "(('....', ){16})" "\\1\n        " bytes "${bytes}")
  set(${variable} "${bytes}" PARENT_SCOPE)
endfunction()
