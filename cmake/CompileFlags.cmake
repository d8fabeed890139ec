# How this project's own code is compiled. Everything links to FourTapFlags privately; nobody else gets to see it.
add_library(FourTapFlags INTERFACE)
target_compile_features(FourTapFlags INTERFACE cxx_std_20)
target_compile_options(FourTapFlags INTERFACE -Wall -Wextra -Wshadow -Wconversion -Werror)
