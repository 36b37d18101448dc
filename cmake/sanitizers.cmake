# -DSANITIZE=address,undefined (or thread) builds everything with those sanitizers.
set(SANITIZE "" CACHE STRING "Sanitizers for every target, as -fsanitize takes them")
if(SANITIZE)
  add_compile_options(-fsanitize=${SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${SANITIZE})
endif()
