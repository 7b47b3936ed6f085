# Applies REINOKEITRO_SANITIZE to everything that is built.
if(REINOKEITRO_SANITIZE)
  add_compile_options(-fsanitize=${REINOKEITRO_SANITIZE} -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${REINOKEITRO_SANITIZE})
  if(REINOKEITRO_SANITIZE MATCHES "undefined")
    add_compile_options(-fno-sanitize-recover=undefined)
  endif()
endif()
