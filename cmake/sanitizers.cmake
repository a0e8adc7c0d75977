# Applies ZEVO_SANITIZE to every target defined after this point, the vptr check of
# UndefinedBehaviorSanitizer included: the platform library defines the type information of every
# polymorphic class the plug-in reaches through a base (ports, backends, service records).
if(ZEVO_SANITIZE)
  set(_zevo_san_flags -fsanitize=${ZEVO_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_compile_options(${_zevo_san_flags})
  add_link_options(${_zevo_san_flags})
endif()
