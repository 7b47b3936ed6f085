# Applies REINOKEITRO_SANITIZE to everything that is built. Assertions are on, whatever the build type:
# they check locks that the compiler's analysis cannot follow.
if(REINOKEITRO_SANITIZE)
  add_compile_options(-UNDEBUG)
  add_compile_options(-fsanitize=${REINOKEITRO_SANITIZE} -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${REINOKEITRO_SANITIZE})
  if(REINOKEITRO_SANITIZE MATCHES "undefined")
    add_compile_options(-fno-sanitize-recover=undefined)
  endif()
endif()
