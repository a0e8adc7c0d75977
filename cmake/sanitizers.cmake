# Applies ZEVO_SANITIZE to every target defined after this point.
# The vptr check of UndefinedBehaviorSanitizer is left out: it needs the type information of every
# polymorphic platform class the plug-in deletes (the port among them), which only exists once
# the platform's communication library defines those classes.
if(ZEVO_SANITIZE)
  set(_zevo_san_flags -fsanitize=${ZEVO_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  if(ZEVO_SANITIZE MATCHES "undefined")
    list(APPEND _zevo_san_flags -fno-sanitize=vptr)
  endif()
  add_compile_options(${_zevo_san_flags})
  add_link_options(${_zevo_san_flags})
endif()
