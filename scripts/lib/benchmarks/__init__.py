"""What scripts/bench measures, by purpose."""
