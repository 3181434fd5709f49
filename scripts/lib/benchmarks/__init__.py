# SPDX-License-Identifier: Apache-2.0
"""What scripts/bench measures, by purpose."""
