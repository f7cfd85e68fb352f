load box

@test "the radar knows of snow" {
  box send radar 'snow in Bern' --expect '^1 cm$'
}
