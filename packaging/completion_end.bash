
_marrowen() {
  local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD-1]} command=marrowen value= i
  COMPREPLY=()
  for ((i = 1; i < COMP_CWORD; ++i)); do
    if [ -n "$value" ]; then
      value=
    elif [[ $_marrowen_takes == *" ${COMP_WORDS[i]} "* ]]; then
      value=1
    elif [[ -n ${_marrowen_follows[$command ${COMP_WORDS[i]}]-} ]]; then
      command+=" ${COMP_WORDS[i]}"
    fi
  done
  # Where nothing is offered, bash completes names of files.
  [[ $_marrowen_takes == *" $before "* ]] && return
  mapfile -t COMPREPLY < <(compgen -W "${_marrowen_follows[$command]}" -- "$word")
  [[ $word == -* ]] || mapfile -t COMPREPLY < <(printf '%s\n' "${COMPREPLY[@]}" | grep '^[^-]')
}
complete -o default -F _marrowen marrowen
